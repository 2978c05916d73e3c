/* A user's program: the public header and the exports, nothing else. On the
   simulator's default bench the temperature sensor at 0x48 reads 25.5 degrees,
   0x19 0x80 in its register 0; exit status 0 when the register functions and
   DeviceIo both read that. */
#include <i2czavik.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  unsigned char address[2] = {0x00, 0x48 << 1}, reg = 0x00, viaUrd[2] = {0, 0}, viaDeviceIo[2] = {0, 0};
  DeviceIoBlock block;
  uint32_t moved = 0;
  int ok = UrdOpen() && UrdGetLongReg(2, 2, address, viaUrd) && UrdClose();

  memset(&block, 0, sizeof block);
  block.command = I2CZAVIK_CMD_OPEN;
  DeviceIo(&block, NULL, &block, NULL, &moved);
  ok = ok && block.status == I2CZAVIK_STATUS_SUCCESS;
  block.command = I2CZAVIK_CMD_READ;
  block.slaveAddress = 0x48;
  block.bitrate = 100000;
  block.regAddress = &reg;
  block.regAddressCount = 1;
  block.buffer = viaDeviceIo;
  block.count = 2; /* the block is request and result: bytes wanted and size of the buffer */
  DeviceIo(&block, NULL, &block, NULL, &moved);
  ok = ok && block.status == I2CZAVIK_STATUS_SUCCESS;
  block.command = I2CZAVIK_CMD_CLOSE;
  DeviceIo(&block, NULL, &block, NULL, &moved);
  ok = ok && block.status == I2CZAVIK_STATUS_SUCCESS;
  printf("UrdGetLongReg: 0x%02x 0x%02x, DeviceIo: 0x%02x 0x%02x\n", viaUrd[0], viaUrd[1], viaDeviceIo[0],
         viaDeviceIo[1]);
  return !(ok && memcmp(viaUrd, "\x19\x80", 2) == 0 && memcmp(viaDeviceIo, "\x19\x80", 2) == 0);
}
