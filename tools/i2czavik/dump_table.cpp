#include "dump_table.h"

#include <cstdio>

namespace zavik::I2cTool {

namespace {

constexpr std::uint64_t kRowSize = 16;

int LabelDigits(std::uint64_t lastRow) {
  int digits = 2;
  while (digits < 16 && (lastRow >> (4 * digits)) != 0) ++digits;
  return digits;
}

char AsciiOf(std::uint8_t byte) {
  if (byte == 0x00 || byte == 0xFF) return '.';
  if (byte < 0x20 || byte >= 0x7F) return '?';
  return static_cast<char>(byte);
}

void TrimTrailingSpaces(std::string& line) {
  std::size_t end = line.find_last_not_of(' ');
  line.erase(end == std::string::npos ? 0 : end + 1);
}

}  // namespace

std::string FormatDumpTable(std::uint64_t start, const std::vector<std::uint8_t>& bytes) {
  const std::uint64_t end = start + bytes.size();  // one past the last register
  const std::uint64_t firstRow = start - start % kRowSize;
  const std::uint64_t lastRow = bytes.empty() ? firstRow : (end - 1) - (end - 1) % kRowSize;
  const int digits = LabelDigits(lastRow);

  std::string table(static_cast<std::size_t>(digits) + 3, ' ');
  table += "0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n";
  if (bytes.empty()) return table;

  for (std::uint64_t row = firstRow;; row += kRowSize) {
    char cell[24];
    std::snprintf(cell, sizeof cell, "%0*llx: ", digits, static_cast<unsigned long long>(row));
    std::string hex = cell;
    std::string ascii;
    for (std::uint64_t reg = row; reg < row + kRowSize; ++reg) {
      if (reg < start || reg >= end) {
        hex += "   ";
        ascii += ' ';
        continue;
      }
      std::uint8_t byte = bytes[static_cast<std::size_t>(reg - start)];
      std::snprintf(cell, sizeof cell, "%02x ", byte);
      hex += cell;
      ascii += AsciiOf(byte);
    }
    std::string line = hex + "   " + ascii;
    TrimTrailingSpaces(line);
    table += line + '\n';
    if (row == lastRow) break;
  }
  return table;
}

}  // namespace zavik::I2cTool
