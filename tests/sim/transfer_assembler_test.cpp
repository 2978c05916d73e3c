#include <gtest/gtest.h>

#include "sim/transfer_assembler.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::Data;
using SimTest::Header;
using Bytes = std::vector<std::uint8_t>;

TEST(TransferAssemblerTest, WriteOwnsMaxOfOneAndCeilNOver8Records) {
  for (const std::uint32_t count : {0u, 1u, 8u, 9u, 16u, 17u}) {
    const std::uint32_t records = count == 0 ? 1 : (count + 7) / 8;
    TransferAssembler assembler;
    EXPECT_FALSE(assembler.Feed(Header(16, 0x50, count, true)));
    Bytes sent;
    std::optional<BusTransfer> done;
    for (std::uint32_t r = 0; r < records; ++r) {
      EXPECT_FALSE(done) << "complete too early, count " << count;
      Bytes chunk;
      while (chunk.size() < 8 && sent.size() < count) {
        chunk.push_back(static_cast<std::uint8_t>(sent.size()));
        sent.push_back(chunk.back());
      }
      done = assembler.Feed(Data(chunk));
    }
    ASSERT_TRUE(done) << "count " << count;
    EXPECT_EQ(done->messages.at(0).data, sent);
    // Nothing owed any more: a further record is stray and changes nothing.
    EXPECT_FALSE(assembler.Feed(Data({0xEE})));
    EXPECT_TRUE(assembler.Idle());
  }
}

TEST(TransferAssemblerTest, TenBitWritesCarryTheLowByteInTheirFirstRecord) {
  TransferAssembler assembler;
  // 0x2A5 with 3 bytes: 16 {0x7A, 4}, 18 {1, 0xA5}, 18 {3, data}.
  EXPECT_FALSE(assembler.Feed(Header(16, 0x7A, 4, true)));
  EXPECT_FALSE(assembler.Feed(Data({0xA5})));
  auto done = assembler.Feed(Data({1, 2, 3}));
  ASSERT_TRUE(done);
  EXPECT_EQ(done->messages[0].data, (Bytes{0xA5, 1, 2, 3}));
  // The inserted address-only write before a 10-bit read: low byte, then one
  // empty record, although the header's count is met after the first.
  EXPECT_FALSE(assembler.Feed(Header(16, 0x79, 1, false)));
  EXPECT_FALSE(assembler.Feed(Data({0x23})));
  EXPECT_FALSE(assembler.Feed(Data({})));
  done = assembler.Feed(Header(17, 0x79, 4, true));
  ASSERT_TRUE(done);
  ASSERT_EQ(done->messages.size(), 2u);
  EXPECT_EQ(done->messages[0].data, (Bytes{0x23}));
}

TEST(TransferAssemblerTest, ConfigurationOrAnEarlyHeaderEndsWhatCameBefore) {
  TransferAssembler assembler;
  EXPECT_FALSE(assembler.Feed(Header(16, 0x50, 1, false)));
  assembler.Configure(100000, 0);  // drops the unfinished transfer
  EXPECT_FALSE(assembler.Feed(Header(16, 0x50, 20, false)));
  EXPECT_FALSE(assembler.Feed(Data({1, 2, 3, 4, 5, 6, 7, 8})));
  // A header before the write got its records cuts the write short.
  const auto done = assembler.Feed(Header(17, 0x48, 1, true));
  ASSERT_TRUE(done);
  ASSERT_EQ(done->messages.size(), 2u);
  EXPECT_EQ(done->messages[0].data.size(), 8u);
  EXPECT_EQ(done->messages[1].header, 0x48);
}

}  // namespace
}  // namespace zavik::I2cSim
