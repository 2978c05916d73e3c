#include "usage_text.h"

namespace zavik::I2cTool {

std::string UsageText() {
  return R"(Usage: i2czavik COMMAND [OPTIONS] OPERANDS...

Reads and writes I2C slaves through the first I2C board of the local I2C
scheduler (127.0.0.1:3000).

Commands:
  scan                              show which 7-bit addresses answer
  get [-r WIDTH] [-n COUNT] ADDRESS REGISTER
                                    read COUNT bytes (default 1) from REGISTER
  set [-r WIDTH] ADDRESS REGISTER BYTE...
                                    write the BYTEs to REGISTER and onwards
  dump [-r WIDTH] [-l LENGTH] ADDRESS [START]
                                    show LENGTH registers (default 256) from
                                    START (default 0) as a hex and ASCII table
  caps                              show the board's hardware capabilities
  help, -h, --help                  show this text
  --version                         show the version of the tool

  ADDRESS   7-bit slave address, 0x00..0x7f (0x04-0x07 and 0x78-0x7b are
            reserved and refused)
  -r WIDTH  register address width in bytes, 0..7 (default 1); the register
            address goes on the bus most significant byte first. With -r 0
            there is no REGISTER or START: get and dump read from wherever the
            slave's own pointer stands, set sends only the BYTEs.
  Numbers are hexadecimal with a 0x prefix, else decimal.

Examples:
  i2czavik scan                       the addresses that answer
  i2czavik get 0x48 0x00 -n 2         temperature register, 2 bytes
  i2czavik set 0x20 0x10 0x12 0x34    0x12 to register 0x10, 0x34 to 0x11
  i2czavik get -r 2 -n 4 0x50 0x0100  four bytes of an EEPROM with a 16-bit
                                      word address, from 0x0100
  i2czavik dump -r 2 -l 64 0x50       the first 64 bytes of that EEPROM
  i2czavik caps                       the board's hardware capabilities

Exit status: 0 on success, 1 when the library reports a failure (its text
goes to standard error), 2 on a usage error.
)";
}

}  // namespace zavik::I2cTool
