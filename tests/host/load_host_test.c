/* A host's first contact with the library, in a fresh process: the exports
   are found by name, the last-error text is empty, and nothing is written
   past the 50 bytes of the status buffer. */
#include <string.h>

#include "host_check.h"
#include "host_loader.h"

int main(int argc, char** argv) {
  HostExports lib;
  unsigned char buffer[80];
  int i;
  if (!LoadHostExports(argc > 1 ? argv[1] : NULL, &lib)) return 1;

  memset(buffer, 0xAA, sizeof buffer);
  CHECK(lib.UrdGetStatus((char*)buffer) == (char*)buffer);
  for (i = 0; i < 50; ++i) CHECK_INT(buffer[i], 0);
  for (i = 50; i < 80; ++i) CHECK_INT(buffer[i], 0xAA);

  CHECK_INT(lib.LibMain(), 1);
  CHECK(lib.UrdGetStatus(NULL) == NULL);

  /* Still empty: LibMain and UrdGetStatus never change the text. */
  memset(buffer, 0xAA, sizeof buffer);
  lib.UrdGetStatus((char*)buffer);
  CHECK_INT(buffer[0], 0);
  return HOST_TEST_RESULT();
}
