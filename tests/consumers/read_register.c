/* A host program written the way a user of the installed library writes it:
   only the public header, the register functions and DeviceIo. Against the
   simulator's default bench the temperature sensor at 0x48 holds 25.5 degrees,
   0x19 0x80 in its register 0. Exit status: the number of failed checks. */
#include <i2czavik.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

static void Expect(int ok, const char* what) {
  if (!ok) {
    fprintf(stderr, "read_register: %s failed\n", what);
    ++failures;
  }
}

int main(void) {
  unsigned char address[2] = {0x00, 0x48 << 1}; /* register 0, then the slave's address byte */
  unsigned char data[2] = {0, 0};
  unsigned char reg = 0x00;
  char status[I2CZAVIK_STATUS_TEXT_SIZE];
  DeviceIoBlock block;
  uint32_t moved = 0;

  Expect(UrdOpen() == 1, "UrdOpen");
  Expect(UrdGetLongReg(2, 2, address, data) == 1, "UrdGetLongReg");
  printf("UrdGetLongReg: 0x%02x 0x%02x (%s)\n", data[0], data[1], UrdGetStatus(status));
  Expect(data[0] == 0x19 && data[1] == 0x80, "temperature from UrdGetLongReg");
  Expect(UrdClose() == 1, "UrdClose");

  memset(&block, 0, sizeof block);
  block.command = I2CZAVIK_CMD_OPEN;
  DeviceIo(&block, NULL, &block, NULL, &moved);
  Expect(block.status == I2CZAVIK_STATUS_SUCCESS, "DeviceIo open");
  memset(data, 0, sizeof data);
  block.command = I2CZAVIK_CMD_READ;
  block.slaveAddress = 0x48;
  block.bitrate = 100000;
  block.regAddress = &reg;
  block.regAddressCount = 1;
  block.buffer = data;
  block.count = 2; /* the block is request and result: bytes wanted and buffer size */
  DeviceIo(&block, NULL, &block, NULL, &moved);
  printf("DeviceIo read: status %u, 0x%02x 0x%02x\n", (unsigned)block.status, data[0], data[1]);
  Expect(block.status == I2CZAVIK_STATUS_SUCCESS && data[0] == 0x19 && data[1] == 0x80, "temperature from DeviceIo");
  block.command = I2CZAVIK_CMD_CLOSE;
  DeviceIo(&block, NULL, &block, NULL, &moved);
  Expect(block.status == I2CZAVIK_STATUS_SUCCESS, "DeviceIo close");
  return failures;
}
