// The hex-and-ASCII table of a register dump, 16 registers per row.
#ifndef I2CZAVIK_TOOL_DUMP_TABLE_H
#define I2CZAVIK_TOOL_DUMP_TABLE_H

#include <cstdint>
#include <string>
#include <vector>

namespace zavik::I2cTool {

// `bytes` are the contents of the registers from `start` on. Rows begin at
// multiples of 16; cells before `start` and after the last byte stay blank.
// The row labels are as wide as the last row's address needs, two hex digits
// at least. In the ASCII column 0x00 and 0xff show as '.', other
// unprintable bytes as '?'.
std::string FormatDumpTable(std::uint64_t start, const std::vector<std::uint8_t>& bytes);

}  // namespace zavik::I2cTool

#endif
