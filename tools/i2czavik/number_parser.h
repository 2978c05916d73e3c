// Numbers on the command line: hexadecimal with a 0x prefix, else decimal.
#ifndef I2CZAVIK_TOOL_NUMBER_PARSER_H
#define I2CZAVIK_TOOL_NUMBER_PARSER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace zavik::I2cTool {

// The value of `text`, or nothing when it is empty, has a sign, a stray
// character, or does not fit in 64 bits.
std::optional<std::uint64_t> ParseNumber(std::string_view text);

// As ParseNumber, and the value must lie in [min, max].
std::optional<std::uint64_t> ParseNumberInRange(std::string_view text, std::uint64_t min, std::uint64_t max);

}  // namespace zavik::I2cTool

#endif
