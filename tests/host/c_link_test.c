/* Plain C compiles against the public header and links against the library. */
#include <string.h>

#include "host_check.h"
#include "i2czavik.h"

int main(void) {
  char text[I2CZAVIK_STATUS_TEXT_SIZE];
  DeviceIoBlock block;
  uint32_t count = 0xFFFFFFFFu;
  CHECK_INT(LibMain(), 1);
  CHECK(UrdGetStatus(text) == text);
  CHECK_STR(text, "");

  memset(&block, 0, sizeof block);
  block.command = 6; /* no such command */
  block.status = 1234;
  CHECK_INT(DeviceIo(&block, NULL, &block, NULL, &count), 1);
  CHECK_INT(block.status, I2CZAVIK_STATUS_NOT_SUPPORTED);
  CHECK_INT(count, 0xFFFFFFFFu);
  return HOST_TEST_RESULT();
}
