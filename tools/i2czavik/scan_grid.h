// The address grid of a bus scan: 8 rows of 16 seven-bit addresses.
#ifndef I2CZAVIK_TOOL_SCAN_GRID_H
#define I2CZAVIK_TOOL_SCAN_GRID_H

#include <array>
#include <cstdint>
#include <string>

namespace zavik::I2cTool {

enum class ScanCell : std::uint8_t {
  Skipped,  // not probed and shown blank, as the general-call and high ranges are by i2cdetect
  Refused,  // an address the library refuses to use; shown as RR
  Absent,   // probed, nobody answered; shown as --
  Found,    // probed and acknowledged; shown as the address
};

constexpr unsigned kAddressCount = 128;
using ScanResult = std::array<ScanCell, kAddressCount>;

// What a scan does with `address` before any probing: Skipped and Refused
// addresses stay so; every other address starts out Absent and is probed.
ScanCell InitialScanCell(std::uint8_t address);

// A result in which every address holds its initial cell.
ScanResult InitialScanResult();

// The grid with its header row, one line per row, each cell three columns wide.
std::string FormatScanGrid(const ScanResult& result);

// Explains the cell markers.
std::string ScanLegend();

}  // namespace zavik::I2cTool

#endif
