// The dump table at the edges the end-to-end runs do not reach (the scan
// grid and ordinary tables are checked whole against the simulator).
#include <gtest/gtest.h>

#include "dump_table.h"

namespace zavik::I2cTool {
namespace {

TEST(DumpTable, LabelsWidenPastOneByteAndTheLastRowEndsAt0xffff) {
  std::vector<std::uint8_t> bytes(17, 0x30);
  bytes[0] = 0x80;
  EXPECT_EQ(FormatDumpTable(0xFF0, bytes),
            "       0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n"
            "0ff0: 80 30 30 30 30 30 30 30 30 30 30 30 30 30 30 30    ?000000000000000\n"
            "1000: 30" + std::string(1 + 45 + 3, ' ') + "0\n");
  // Trailing blanks of the ASCII column are trimmed.
  EXPECT_EQ(FormatDumpTable(0xFFF0, std::vector<std::uint8_t>(16, 0x20)),
            "       0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n"
            "fff0: 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20 20\n");
}

}  // namespace
}  // namespace zavik::I2cTool
