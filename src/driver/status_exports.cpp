// UrdGetStatus and LibMain: the exports that only read the library's state.

#include <cstring>

#include "driver/last_error.h"
#include "i2czavik.h"

extern "C" I2CZAVIK_API char* I2CZAVIK_CDECL UrdGetStatus(char* buffer) {
  if (buffer == nullptr) return nullptr;
  // Bounded copy: zero-filled after the text, and always terminated.
  std::strncpy(buffer, zavik::Driver::LastErrorText().c_str(), I2CZAVIK_STATUS_TEXT_SIZE);
  buffer[I2CZAVIK_STATUS_TEXT_SIZE - 1] = '\0';
  return buffer;
}

extern "C" I2CZAVIK_API int I2CZAVIK_CDECL LibMain(void) { return 1; }
