// The board entry decoder against entries laid out byte by byte.

#include "api/board_list_decoder.h"

#include <gtest/gtest.h>

#include <deque>

#include "board_entry_bytes.h"

namespace zavik::I2cApi {
namespace {

using Testing::EntryBytes;
namespace Off = Testing::EntryOffset;

std::deque<std::uint8_t> StreamOf(const std::vector<std::uint8_t>& bytes) {
  return std::deque<std::uint8_t>(bytes.begin(), bytes.end());
}

BoardInfo DecodeOne(const EntryBytes& entry) {
  auto stream = StreamOf(entry.Bytes());
  BoardInfo board = TakeBoardEntry(stream);
  EXPECT_TRUE(stream.empty()) << "an entry takes exactly its own bytes";
  return board;
}

TEST(BoardEntryDecoder, ReadsEveryFieldAtItsOffset) {
  EntryBytes e;
  e.Text(Off::kName, "USB adapter").U16(Off::kBoardNumber, 0x0102).U8(Off::kBoardType, 3);
  e.U8(Off::kExtraWords, 0x34).U8(Off::kExtraWords + 1, 0x12).U8(Off::kExtraWords + 8, 0xFF);
  e.U8(Off::kExtraWords + 10, 0xEE);  // the two skipped bytes
  e.U32(Off::kExtraValue, 0xA1B2C3D4);
  e.U8(Off::kCapabilityFlags, 7).U8(Off::kCapabilityFlags + 5, 7).U8(Off::kCapabilityFlags + 8, 1);
  e.U8(Off::kCapabilityFlags + 13, 200);
  e.U32s(Off::kListA, {5, 6}).U8(Off::kListC, 9).U32s(Off::kListD, {0xDEADBEEF});
  e.U16(Off::kValueE, 0xBEEF).U32(Off::kValueF, 77).U8(Off::kMoreFlags + 7, 3);
  e.U32s(Off::kBitrates, {100000, 400000}).U32s(Off::kHighSpeedBitrates, {3400000});
  e.U32(Off::kMaxReadLength, 4096).U16(Off::kValueG, 0x0A0B);

  const BoardInfo b = DecodeOne(e);
  EXPECT_EQ(b.name, "USB adapter");
  EXPECT_EQ(b.boardNumber, 0x0102);
  EXPECT_EQ(b.boardType, 3u);
  EXPECT_EQ(b.extraWords[0], 0x1234);
  EXPECT_EQ(b.extraWords[4], 0x00FF);
  EXPECT_EQ(b.extraValue, 0xA1B2C3D4u);
  EXPECT_EQ(b.capabilityFlags[0], 1) << "flags are normalised to 0/1";
  EXPECT_EQ(b.capabilityFlags[5], 7) << "element 5 is kept as received";
  EXPECT_TRUE(b.MasterTxSupported());
  EXPECT_FALSE(b.MasterRxSupported());
  EXPECT_EQ(b.capabilityFlags[13], 1);
  EXPECT_EQ(b.listA, (std::vector<std::uint32_t>{5, 6}));
  EXPECT_EQ(b.listB, std::vector<std::uint8_t>(64, 0)) << "zero is an element of listB, which only ends at 100";
  EXPECT_EQ(b.listC, (std::vector<std::uint8_t>{9}));
  EXPECT_EQ(b.listD, (std::vector<std::uint32_t>{0xDEADBEEF}));
  EXPECT_EQ(b.valueE, 0xBEEF);
  EXPECT_EQ(b.valueF, 77u);
  EXPECT_EQ(b.moreFlags[7], 1);
  EXPECT_EQ(b.bitrates, (std::vector<std::uint32_t>{100000, 400000}));
  EXPECT_EQ(b.highSpeedBitrates, (std::vector<std::uint32_t>{3400000}));
  EXPECT_EQ(b.maxReadLength, 4096u);
  EXPECT_EQ(b.valueG, 0x0A0B);
}

TEST(BoardEntryDecoder, NameFieldBoundaries) {
  EntryBytes full;
  full.Text(Off::kName, "ABCDEFGHIJKLMNOPQRST").U16(Off::kBoardNumber, 9);
  const BoardInfo twenty = DecodeOne(full);
  EXPECT_EQ(twenty.name, "ABCDEFGHIJKLMNOPQRST");
  EXPECT_EQ(twenty.boardNumber, 9) << "a name without zero byte must not run into the board number";

  EntryBytes empty;
  empty.Text(Off::kName + 1, "garbage").U16(Off::kBoardNumber, 4);
  EXPECT_EQ(DecodeOne(empty).name, "");

  EntryBytes shortName;
  shortName.Text(Off::kName, "ab").Text(Off::kName + 3, "junk").U16(Off::kBoardNumber, 5);
  const BoardInfo b = DecodeOne(shortName);
  EXPECT_EQ(b.name, "ab");
  EXPECT_EQ(b.boardNumber, 5);
}

TEST(BoardEntryDecoder, ZeroVersionTripleMeansAbsent) {
  EntryBytes e;
  e.Triple(Off::kFirmware, 0, 0, 1)        // installed firmware 0.0.1: present
      .Triple(Off::kFirmware + 3, 0, 0, 0)  // required firmware: absent
      .Triple(Off::kFpga + 3, 2, 0, 0)      // required FPGA only
      .Triple(Off::kDriver, 1, 2, 3).Triple(Off::kDriver + 3, 255, 0, 9);
  const BoardInfo b = DecodeOne(e);
  ASSERT_EQ(b.installedVersions.size(), 2u);
  EXPECT_EQ(b.installedVersions.at("firmware"), (Version{0, 0, 1}));
  EXPECT_EQ(b.installedVersions.at("driver"), (Version{1, 2, 3}));
  ASSERT_EQ(b.requiredVersions.size(), 2u);
  EXPECT_EQ(b.requiredVersions.at("FPGA configuration"), (Version{2, 0, 0}));
  EXPECT_EQ(b.requiredVersions.at("driver"), (Version{255, 0, 9}));
}

TEST(BoardEntryDecoder, ListEndValues) {
  EntryBytes e;
  e.U8(Off::kListB, 0).U8(Off::kListB + 1, 99).U8(Off::kListB + 2, 100).U8(Off::kListB + 3, 5);
  e.U32s(Off::kListA, {1, 0, 3});
  for (std::size_t i = 0; i < 64; ++i) e.U8(Off::kListC + i, static_cast<std::uint8_t>(i + 1));
  const BoardInfo b = DecodeOne(e);
  EXPECT_EQ(b.listB, (std::vector<std::uint8_t>{0, 99}));
  EXPECT_EQ(b.listA, (std::vector<std::uint32_t>{1}));
  EXPECT_EQ(b.listC.size(), 64u) << "a list without end value has all its elements";
  EXPECT_EQ(b.listC.back(), 64);
}

TEST(BoardEntryDecoder, FullBitrateListAndTheFieldsAfterIt) {
  EntryBytes e;
  std::vector<std::uint32_t> rates(7000);
  for (std::size_t i = 0; i < rates.size(); ++i) rates[i] = static_cast<std::uint32_t>(i + 1);
  e.U32s(Off::kBitrates, rates).U32s(Off::kHighSpeedBitrates, std::vector<std::uint32_t>(32, 8)).U32(Off::kMaxReadLength, 1);
  const BoardInfo b = DecodeOne(e);
  EXPECT_EQ(b.bitrates, rates);
  EXPECT_EQ(b.highSpeedBitrates.size(), 32u);
  EXPECT_EQ(b.maxReadLength, 1u);
}

TEST(BoardEntryDecoder, EntriesComeOffTheFrontInStreamOrder) {
  std::vector<std::uint8_t> bytes = Testing::Concatenate({EntryBytes::Board("first", 1, 2), EntryBytes::Board("second", 2, 1)});
  bytes.push_back(0xAA);  // a trailing piece of a third entry
  auto stream = StreamOf(bytes);
  EXPECT_EQ(TakeBoardEntry(stream).name, "first");
  EXPECT_EQ(TakeBoardEntry(stream).name, "second");
  EXPECT_EQ(stream.size(), 1u);
  EXPECT_FALSE(HoldsBoardEntry(stream, kBoardEntrySize));
}

TEST(BoardEntryDecoder, WholeEntryTest) {
  std::deque<std::uint8_t> stream(kBoardEntrySize - 1, 1);
  EXPECT_FALSE(HoldsBoardEntry(stream, 10)) << "one byte short of an entry, whatever was announced";
  stream.push_back(1);
  EXPECT_TRUE(HoldsBoardEntry(stream, kBoardEntrySize));
  EXPECT_TRUE(HoldsBoardEntry(stream, 0));
  EXPECT_FALSE(HoldsBoardEntry(stream, kBoardEntrySize + 1)) << "less than the announced size";
}

}  // namespace
}  // namespace zavik::I2cApi
