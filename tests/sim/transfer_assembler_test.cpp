#include <gtest/gtest.h>

#include "sim/transfer_assembler.h"

namespace zavik::I2cSim {
namespace {

using I2cScheduler::SchedulerMessage;

SchedulerMessage Header(std::uint32_t code, std::uint8_t address, std::uint32_t count, bool last) {
  SchedulerMessage m = SchedulerMessage::WithCode(code);
  m.SetByte(4, address);
  m.SetU32At(5, count);
  m.SetByte(9, last ? 1 : 0);
  return m;
}

SchedulerMessage Data(std::vector<std::uint8_t> bytes) {
  SchedulerMessage m = SchedulerMessage::WithCode(18);
  m.SetByte(4, static_cast<std::uint8_t>(bytes.size()));
  for (std::size_t i = 0; i < bytes.size(); ++i) m.SetByte(5 + i, bytes[i]);
  return m;
}

TEST(TransferAssemblerTest, WriteOwnsMaxOfOneAndCeilNOver8Records) {
  struct Case {
    std::uint32_t count;
    int records;
  };
  for (const Case c : {Case{0, 1}, Case{1, 1}, Case{8, 1}, Case{9, 2}, Case{16, 2}, Case{17, 3}}) {
    TransferAssembler assembler;
    assembler.Configure(100000, 0);
    EXPECT_FALSE(assembler.Feed(Header(16, 0x50, c.count, true)));
    std::vector<std::uint8_t> sent;
    std::optional<BusTransfer> done;
    for (int r = 0; r < c.records; ++r) {
      EXPECT_FALSE(done) << "complete too early, count " << c.count;
      std::vector<std::uint8_t> chunk;
      for (std::uint32_t i = 0; i < 8 && sent.size() < c.count; ++i) {
        chunk.push_back(static_cast<std::uint8_t>(sent.size()));
        sent.push_back(static_cast<std::uint8_t>(sent.size()));
      }
      done = assembler.Feed(Data(chunk));
    }
    ASSERT_TRUE(done) << "count " << c.count;
    EXPECT_EQ(done->messages.at(0).data, sent);
    // Nothing owed any more: a further record is stray and changes nothing.
    EXPECT_FALSE(assembler.Feed(Data({0xEE})));
    EXPECT_TRUE(assembler.Idle());
  }
}

TEST(TransferAssemblerTest, RegisterReadCompletesWithItsLastReadHeader) {
  TransferAssembler assembler;
  assembler.Configure(400000, 3400000);
  EXPECT_FALSE(assembler.Feed(Header(16, 0x50, 1, false)));
  EXPECT_FALSE(assembler.Feed(Data({0x10})));
  const auto done = assembler.Feed(Header(17, 0x50, 2, true));
  ASSERT_TRUE(done);
  EXPECT_EQ(done->bitrate, 400000u);
  EXPECT_EQ(done->highSpeedBitrate, 3400000u);
  ASSERT_EQ(done->messages.size(), 2u);
  EXPECT_FALSE(done->messages[0].read);
  EXPECT_FALSE(done->messages[0].last);
  EXPECT_TRUE(done->messages[1].read);
  EXPECT_EQ(done->messages[1].readCount, 2u);
}

TEST(TransferAssemblerTest, TenBitWritesCarryTheLowByteInTheirFirstRecord) {
  TransferAssembler assembler;
  // 0x2A5 with 3 bytes: 16 {0x7A, 4}, 18 {1, 0xA5}, 18 {3, data}.
  EXPECT_FALSE(assembler.Feed(Header(16, 0x7A, 4, true)));
  EXPECT_FALSE(assembler.Feed(Data({0xA5})));
  auto done = assembler.Feed(Data({1, 2, 3}));
  ASSERT_TRUE(done);
  EXPECT_TRUE(done->messages[0].TenBit());
  EXPECT_EQ(done->messages[0].data, (std::vector<std::uint8_t>{0xA5, 1, 2, 3}));
  // The inserted address-only write before a 10-bit read: low byte, then one
  // empty record, although the header's count is met after the first.
  EXPECT_FALSE(assembler.Feed(Header(16, 0x79, 1, false)));
  EXPECT_FALSE(assembler.Feed(Data({0x23})));
  EXPECT_FALSE(assembler.Feed(Data({})));
  done = assembler.Feed(Header(17, 0x79, 4, true));
  ASSERT_TRUE(done);
  ASSERT_EQ(done->messages.size(), 2u);
  EXPECT_EQ(done->messages[0].data, (std::vector<std::uint8_t>{0x23}));
}

TEST(TransferAssemblerTest, ConfigurationDropsAnUnfinishedTransfer) {
  TransferAssembler assembler;
  EXPECT_FALSE(assembler.Feed(Header(16, 0x50, 1, false)));
  EXPECT_FALSE(assembler.Feed(Data({0x10})));
  assembler.Configure(100000, 0);
  const auto done = assembler.Feed(Header(17, 0x48, 2, true));
  ASSERT_TRUE(done);
  ASSERT_EQ(done->messages.size(), 1u);
  EXPECT_EQ(done->messages[0].header, 0x48);
}

TEST(TransferAssemblerTest, HeaderBeforeAWriteGotItsRecordsCutsTheWriteShort) {
  TransferAssembler assembler;
  EXPECT_FALSE(assembler.Feed(Header(16, 0x50, 20, false)));
  EXPECT_FALSE(assembler.Feed(Data({1, 2, 3, 4, 5, 6, 7, 8})));
  const auto done = assembler.Feed(Header(17, 0x50, 1, true));
  ASSERT_TRUE(done);
  ASSERT_EQ(done->messages.size(), 2u);
  EXPECT_EQ(done->messages[0].data.size(), 8u);
}

}  // namespace
}  // namespace zavik::I2cSim
