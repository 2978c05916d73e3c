#include "number_parser.h"

#include <limits>

namespace zavik::I2cTool {

namespace {

int DigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::optional<std::uint64_t> ParseDigits(std::string_view digits, unsigned base) {
  if (digits.empty()) return std::nullopt;
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t value = 0;
  for (char c : digits) {
    int digit = DigitValue(c);
    if (digit < 0 || static_cast<unsigned>(digit) >= base) return std::nullopt;
    if (value > (kMax - static_cast<unsigned>(digit)) / base) return std::nullopt;
    value = value * base + static_cast<unsigned>(digit);
  }
  return value;
}

}  // namespace

std::optional<std::uint64_t> ParseNumber(std::string_view text) {
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    return ParseDigits(text.substr(2), 16);
  }
  return ParseDigits(text, 10);
}

std::optional<std::uint64_t> ParseNumberInRange(std::string_view text, std::uint64_t min, std::uint64_t max) {
  std::optional<std::uint64_t> value = ParseNumber(text);
  if (!value || *value < min || *value > max) return std::nullopt;
  return value;
}

}  // namespace zavik::I2cTool
