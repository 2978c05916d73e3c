#include <gtest/gtest.h>

#include "sim/board_entry.h"

namespace zavik::I2cSim {
namespace {

using I2cApi::BoardInfo;
using I2cApi::kBoardEntrySize;

std::vector<std::uint8_t> Bytes(const std::vector<std::uint8_t>& entry, std::size_t offset, std::size_t count) {
  return std::vector<std::uint8_t>(entry.begin() + static_cast<std::ptrdiff_t>(offset),
                                   entry.begin() + static_cast<std::ptrdiff_t>(offset + count));
}

BoardInfo SampleBoard() {
  BoardInfo board;
  board.name = "Bench A";
  board.boardNumber = 258;
  board.installedVersions = {{"firmware", {1, 2, 3}}, {"driver", {0, 0, 9}}};
  board.requiredVersions = {{"firmware", {1, 2, 4}}};
  board.boardType = 3;
  board.extraWords = {0x0102, 0, 0, 0, 0xA0B0};
  board.extraValue = 0x11223344;
  board.capabilityFlags[5] = 7;
  board.capabilityFlags[8] = 1;
  board.capabilityFlags[9] = 1;
  board.listA = {5};
  board.listB = {0, 1};
  board.valueE = 0xBEEF;
  board.bitrates = {100000, 400000};
  board.highSpeedBitrates = {3400000};
  board.maxReadLength = 4096;
  board.valueG = 0x0A0B;
  return board;
}

TEST(BoardEntryTest, FieldsSitAtTheirOffsetsInTheirByteOrder) {
  std::vector<std::uint8_t> entry;
  SerialiseBoardEntry(SampleBoard(), entry);
  ASSERT_EQ(entry.size(), 29627u);
  EXPECT_EQ(Bytes(entry, 0, 8), (std::vector<std::uint8_t>{'B', 'e', 'n', 'c', 'h', ' ', 'A', 0}));
  EXPECT_EQ(Bytes(entry, 20, 2), (std::vector<std::uint8_t>{0x01, 0x02}));  // 258, big-endian
  // firmware installed/required, FPGA absent, driver installed 0.0.9 / absent.
  EXPECT_EQ(Bytes(entry, 22, 18),
            (std::vector<std::uint8_t>{1, 2, 3, 1, 2, 4, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0}));
  EXPECT_EQ(entry[40], 3);
  EXPECT_EQ(Bytes(entry, 41, 12), (std::vector<std::uint8_t>{0x02, 0x01, 0, 0, 0, 0, 0, 0, 0xB0, 0xA0, 0, 0}));
  EXPECT_EQ(Bytes(entry, 53, 4), (std::vector<std::uint8_t>{0x11, 0x22, 0x33, 0x44}));
  EXPECT_EQ(entry[62], 7);
  EXPECT_EQ(entry[65], 1);
  EXPECT_EQ(entry[66], 1);
  EXPECT_EQ(Bytes(entry, 71, 8), (std::vector<std::uint8_t>{0, 0, 0, 5, 0, 0, 0, 0}));  // listA, end 0
  EXPECT_EQ(Bytes(entry, 327, 4), (std::vector<std::uint8_t>{0, 1, 100, 100}));       // listB, end 100
  EXPECT_EQ(entry[390], 100);
  EXPECT_EQ(Bytes(entry, 1479, 2), (std::vector<std::uint8_t>{0xBE, 0xEF}));
  EXPECT_EQ(Bytes(entry, 1493, 12),
            (std::vector<std::uint8_t>{0x00, 0x01, 0x86, 0xA0, 0x00, 0x06, 0x1A, 0x80, 0, 0, 0, 0}));
  EXPECT_EQ(Bytes(entry, 29493, 8), (std::vector<std::uint8_t>{0x00, 0x33, 0xE1, 0x40, 0, 0, 0, 0}));
  EXPECT_EQ(Bytes(entry, 29621, 6), (std::vector<std::uint8_t>{0x00, 0x00, 0x10, 0x00, 0x0A, 0x0B}));
}

TEST(BoardEntryTest, FullListsHaveNoEndValueAndLongNamesAreCut) {
  BoardInfo board = SampleBoard();
  board.name = "abcdefghijklmnopqrstuvwxyz";
  board.bitrates.assign(7000, 0x01020304);
  board.highSpeedBitrates.assign(40, 9);  // more than the 32 slots
  std::vector<std::uint8_t> entry;
  SerialiseBoardEntry(board, entry);
  ASSERT_EQ(entry.size(), kBoardEntrySize);
  EXPECT_EQ(Bytes(entry, 18, 4), (std::vector<std::uint8_t>{'s', 't', 0x01, 0x02}));
  EXPECT_EQ(Bytes(entry, 29489, 8), (std::vector<std::uint8_t>{1, 2, 3, 4, 0, 0, 0, 9}));
  EXPECT_EQ(Bytes(entry, 29617, 4), (std::vector<std::uint8_t>{0, 0, 0, 9}));  // 32nd high-speed rate
  EXPECT_EQ(Bytes(entry, 29621, 4), (std::vector<std::uint8_t>{0x00, 0x00, 0x10, 0x00}));
}

TEST(BoardListTest, EntriesTravelInNineBytePiecesBetween19And21) {
  EXPECT_EQ(BoardListMessages({}).size(), 2u);  // no boards: 19 and 21 only
  const std::vector<BoardInfo> boards{SampleBoard(), SampleBoard()};
  const I2cScheduler::MessageQueue messages = BoardListMessages(boards);
  // 2 x 29627 = 59254 bytes: 6583 full pieces and one of 7 bytes.
  ASSERT_EQ(messages.size(), 1u + 6584u + 1u);
  EXPECT_EQ(messages.front().Code(), 19u);
  EXPECT_EQ(Bytes({messages.front().bytes, messages.front().bytes + 13}, 4, 4),
            (std::vector<std::uint8_t>{0xBB, 0x73, 0x00, 0x00}));  // 29627 little-endian
  EXPECT_EQ(messages.back().Code(), 21u);
  std::vector<std::uint8_t> stream;
  for (std::size_t i = 1; i + 1 < messages.size(); ++i) {
    ASSERT_EQ(messages[i].Code(), 20u);
    stream.insert(stream.end(), messages[i].bytes + 4, messages[i].bytes + 13);
  }
  std::vector<std::uint8_t> expected;
  SerialiseBoardEntry(boards[0], expected);
  SerialiseBoardEntry(boards[1], expected);
  expected.resize(6584 * 9, 0);  // the last piece is padded with zeros
  EXPECT_EQ(stream, expected);
}

}  // namespace
}  // namespace zavik::I2cSim
