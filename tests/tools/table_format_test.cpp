// The scan grid and the dump table as people read them.
#include <gtest/gtest.h>

#include <sstream>

#include "dump_table.h"
#include "scan_grid.h"

namespace zavik::I2cTool {
namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

TEST(ScanGrid, InitialCellsAtTheRangeBoundaries) {
  EXPECT_EQ(InitialScanCell(0x00), ScanCell::Skipped);
  EXPECT_EQ(InitialScanCell(0x03), ScanCell::Skipped);
  EXPECT_EQ(InitialScanCell(0x04), ScanCell::Refused);
  EXPECT_EQ(InitialScanCell(0x07), ScanCell::Refused);
  EXPECT_EQ(InitialScanCell(0x08), ScanCell::Absent);
  EXPECT_EQ(InitialScanCell(0x77), ScanCell::Absent);
  EXPECT_EQ(InitialScanCell(0x78), ScanCell::Refused);
  EXPECT_EQ(InitialScanCell(0x7B), ScanCell::Refused);
  EXPECT_EQ(InitialScanCell(0x7C), ScanCell::Skipped);
  EXPECT_EQ(InitialScanCell(0x7F), ScanCell::Skipped);
}

TEST(ScanGrid, GridShowsEveryKindOfCell) {
  ScanResult result = InitialScanResult();
  result[0x08] = ScanCell::Found;
  result[0x50] = ScanCell::Found;
  result[0x77] = ScanCell::Found;
  std::vector<std::string> lines = Lines(FormatScanGrid(result));
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[0], "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f");
  EXPECT_EQ(lines[1], "00:             RR RR RR RR 08 -- -- -- -- -- -- --");
  EXPECT_EQ(lines[2], "10: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- --");
  EXPECT_EQ(lines[6], "50: 50 -- -- -- -- -- -- -- -- -- -- -- -- -- -- --");
  EXPECT_EQ(lines[8], "70: -- -- -- -- -- -- -- 77 RR RR RR RR");
  // Columns line up: every cell of the header sits over a cell of each row.
  EXPECT_EQ(lines[0].find('8'), lines[1].find("08") + 1);
}

TEST(DumpTable, FullRowsWithAsciiColumn) {
  std::vector<std::uint8_t> bytes(32);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(0x40 + i);
  bytes[0] = 0x00;
  bytes[1] = 0xFF;
  bytes[2] = 0x0A;
  bytes[3] = 0x7F;
  bytes[4] = 0x80;
  std::vector<std::string> lines = Lines(FormatDumpTable(0, bytes));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef");
  EXPECT_EQ(lines[1], "00: 00 ff 0a 7f 80 45 46 47 48 49 4a 4b 4c 4d 4e 4f    ..???EFGHIJKLMNO");
  EXPECT_EQ(lines[2], "10: 50 51 52 53 54 55 56 57 58 59 5a 5b 5c 5d 5e 5f    PQRSTUVWXYZ[\\]^_");
  // The ASCII header sits over the ASCII cells.
  EXPECT_EQ(lines[0].find("0123"), lines[1].find("..??"));
}

TEST(DumpTable, UnalignedRangeLeavesCellsBlank) {
  std::vector<std::uint8_t> bytes = {0x41, 0x42, 0x43};
  std::vector<std::string> lines = Lines(FormatDumpTable(0x1E, bytes));
  ASSERT_EQ(lines.size(), 3u);
  // 14 blank cells of three columns before 0x1e, 14 blank ASCII cells.
  EXPECT_EQ(lines[1], "10: " + std::string(42, ' ') + "41 42 " + std::string(3 + 14, ' ') + "AB");
  // One cell, 15 blank ones, the gap, then the ASCII cell.
  EXPECT_EQ(lines[2], "20: 43" + std::string(1 + 45 + 3, ' ') + "C");
  EXPECT_EQ(lines[1].find("AB"), lines[0].find("ef"));
}

TEST(DumpTable, LabelsWidenPastOneByte) {
  std::vector<std::uint8_t> bytes(17, 0x30);
  std::vector<std::string> lines = Lines(FormatDumpTable(0xFF0, bytes));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].substr(0, 8), std::string(7, ' ') + "0");
  EXPECT_EQ(lines[1].substr(0, 9), "0ff0: 30 ");
  EXPECT_EQ(lines[2], "1000: 30" + std::string(1 + 45 + 3, ' ') + "0");
  EXPECT_EQ(lines[0].find('0'), lines[1].find("30") + 1);
}

TEST(DumpTable, LastRowOfASixteenBitRange) {
  std::vector<std::uint8_t> bytes(16, 0x20);
  std::vector<std::string> lines = Lines(FormatDumpTable(0xFFF0, bytes));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1].substr(0, 6), "fff0: ");
  EXPECT_EQ(lines[1].back(), '0');  // trailing blanks of the spaces' ASCII column are trimmed
}

}  // namespace
}  // namespace zavik::I2cTool
