#include "scan_grid.h"

#include <cstdio>

namespace zavik::I2cTool {

ScanCell InitialScanCell(std::uint8_t address) {
  // 0x04-0x07 (high-speed master codes) and 0x78-0x7B (10-bit address
  // prefixes) are rejected by the library's address check, so probing them
  // would only produce an error.
  if ((address >= 0x04 && address <= 0x07) || (address >= 0x78 && address <= 0x7B)) return ScanCell::Refused;
  if (address <= 0x03 || address >= 0x7C) return ScanCell::Skipped;
  return ScanCell::Absent;
}

ScanResult InitialScanResult() {
  ScanResult result{};
  for (unsigned address = 0; address < kAddressCount; ++address) {
    result[address] = InitialScanCell(static_cast<std::uint8_t>(address));
  }
  return result;
}

namespace {

std::string CellText(ScanCell cell, unsigned address) {
  switch (cell) {
    case ScanCell::Skipped:
      return "  ";
    case ScanCell::Refused:
      return "RR";
    case ScanCell::Absent:
      return "--";
    case ScanCell::Found:
      break;
  }
  char text[3];
  std::snprintf(text, sizeof text, "%02x", address);
  return text;
}

void TrimTrailingSpaces(std::string& line) {
  std::size_t end = line.find_last_not_of(' ');
  line.erase(end == std::string::npos ? 0 : end + 1);
}

}  // namespace

std::string FormatScanGrid(const ScanResult& result) {
  std::string grid = "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f\n";
  for (unsigned row = 0; row < kAddressCount; row += 16) {
    char label[8];
    std::snprintf(label, sizeof label, "%02x:", row);
    std::string line = label;
    for (unsigned column = 0; column < 16; ++column) {
      line += ' ';
      line += CellText(result[row + column], row + column);
    }
    TrimTrailingSpaces(line);
    grid += line + '\n';
  }
  return grid;
}

std::string ScanLegend() {
  return "-- no answer, RR reserved address the library refuses (not probed), blank not probed\n";
}

}  // namespace zavik::I2cTool
