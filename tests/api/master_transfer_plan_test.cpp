#include "api/master_transfer_plan.h"

#include <gtest/gtest.h>

#include <vector>

namespace zavik::I2cApi {
namespace {

using namespace Cpp;
using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

// A record as code plus the bytes that carry meaning for it.
struct Expected {
  std::uint32_t code;
  std::vector<std::uint8_t> bytes;  // from byte 4 on
};

std::vector<std::uint8_t> Sequence(std::uint8_t first, std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(first + i);
  return bytes;
}

std::vector<std::uint8_t> Header(std::uint8_t address, std::uint32_t count, bool last) {
  return {address, static_cast<std::uint8_t>(count), static_cast<std::uint8_t>(count >> 8),
          static_cast<std::uint8_t>(count >> 16), static_cast<std::uint8_t>(count >> 24),
          static_cast<std::uint8_t>(last ? 1 : 0)};
}

std::vector<std::uint8_t> Data(const std::vector<std::uint8_t>& bytes) {
  std::vector<std::uint8_t> record{static_cast<std::uint8_t>(bytes.size())};
  record.insert(record.end(), bytes.begin(), bytes.end());
  return record;
}

void ExpectRecords(const MessageQueue& records, const std::vector<Expected>& expected) {
  ASSERT_EQ(records.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(records[i].Code(), expected[i].code) << "record " << i;
    for (std::size_t b = 0; b < expected[i].bytes.size(); ++b) {
      EXPECT_EQ(records[i].Byte(4 + b), expected[i].bytes[b]) << "record " << i << " byte " << 4 + b;
    }
  }
}

struct Planned {
  std::vector<TransferStatus> statuses;
  MessageQueue records;
};

Planned Plan(const MasterMessageList& list, std::uint32_t bitrate = 100000, std::uint32_t highSpeed = 0) {
  Planned p;
  p.statuses.resize(7);  // leftovers of an earlier transfer are replaced
  PlanTransfer(list, bitrate, highSpeed, p.statuses, p.records);
  return p;
}

const Expected kConfig{19, {0xA0, 0x86, 0x01, 0x00, 0, 0, 0, 0}};

TEST(PlanTransfer, ConfigurationCarriesBothBitrates) {
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  Planned p = Plan({&write}, 400000, 3400000);
  ASSERT_FALSE(p.records.empty());
  EXPECT_EQ(p.records[0].Code(), 19u);
  EXPECT_EQ(p.records[0].U32At(4), 400000u);
  EXPECT_EQ(p.records[0].U32At(8), 3400000u);
  ASSERT_EQ(p.statuses.size(), 2u);
  EXPECT_EQ(p.statuses[0].kind, kKindConfiguration);
  EXPECT_EQ(p.statuses[0].address, -1);
  EXPECT_EQ(p.statuses[0].result, kResultNoError);
}

TEST(PlanTransfer, WriteDataInGroupsOfEight) {
  const std::vector<std::uint8_t> bytes = Sequence(1, 17);
  CMasterMessageTx write(CI2cAddress(0x50, false), bytes);
  Planned p = Plan({&write});
  ExpectRecords(p.records, {kConfig,
                            {16, Header(0x50, 17, true)},
                            {18, Data(Sequence(1, 8))},
                            {18, Data(Sequence(9, 8))},
                            {18, Data({17})}});
  EXPECT_EQ(p.statuses[1].kind, kKindWrite);
  EXPECT_EQ(p.statuses[1].expected, kExpectedAtStop);
  EXPECT_TRUE(p.statuses[1].isLast);
  EXPECT_EQ(p.statuses[1].address, -1);
}

TEST(PlanTransfer, FullLastGroupAndEmptyWrite) {
  CMasterMessageTx eight(CI2cAddress(0x50, false), Sequence(0x40, 8));
  ExpectRecords(Plan({&eight}).records, {kConfig, {16, Header(0x50, 8, true)}, {18, Data(Sequence(0x40, 8))}});
  CMasterMessageTx sixteen(CI2cAddress(0x50, false), Sequence(0x40, 16));
  EXPECT_EQ(Plan({&sixteen}).records.size(), 4u);
  CMasterMessageTx empty(CI2cAddress(0x21, false), {});
  ExpectRecords(Plan({&empty}).records, {kConfig, {16, Header(0x21, 0, true)}, {18, {0}}});
}

TEST(PlanTransfer, TenBitWriteSendsLowAddressByteFirst) {
  CMasterMessageTx write(CI2cAddress(0x2A5, true), {0x11, 0x22, 0x33});
  Planned p = Plan({&write});
  ExpectRecords(p.records,
                {kConfig, {16, Header(0x7A, 4, true)}, {18, Data({0xA5})}, {18, Data({0x11, 0x22, 0x33})}});
  EXPECT_EQ(p.statuses[1].address, 0x2A5);

  CMasterMessageTx empty(CI2cAddress(0x123, true), {});
  ExpectRecords(Plan({&empty}).records, {kConfig, {16, Header(0x79, 1, true)}, {18, Data({0x23})}, {18, {0}}});
}

TEST(PlanTransfer, RegisterReadAsWriteThenRead) {
  CMasterMessageTx write(CI2cAddress(0x50, false), {0x10});
  CMasterMessageRx read;
  read.SetRequestedCount(2);
  Planned p = Plan({&write, &read});
  ExpectRecords(p.records, {kConfig, {16, Header(0x50, 1, false)}, {18, Data({0x10})}, {17, Header(0x50, 2, true)}});
  ASSERT_EQ(p.statuses.size(), 3u);
  EXPECT_EQ(p.statuses[1].expected, 2u);  // address and register byte
  EXPECT_FALSE(p.statuses[1].isLast);
  EXPECT_EQ(p.statuses[2].kind, kKindRead);
  EXPECT_EQ(p.statuses[2].readData, &read.GetData());
  EXPECT_EQ(p.statuses[2].expected, kExpectedAtStop);
}

TEST(PlanTransfer, ReadThatIsNotLastExpectsAddressAndData) {
  CMasterMessageRx read;
  read.SetRequestedCount(4);
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  Planned p = Plan({&read, &write});
  EXPECT_EQ(p.statuses[1].expected, 5u);
  EXPECT_EQ(p.records[1].Byte(9), 0);
  EXPECT_EQ(p.records[2].Byte(9), 1);
}

TEST(PlanTransfer, TenBitReadGetsAnAddressOnlyWriteInFront) {
  CMasterMessageRx read;
  read.SetAddress(CI2cAddress(0x123, true));
  read.SetRequestedCount(3);
  Planned p = Plan({&read});
  ExpectRecords(p.records, {kConfig,
                            {16, Header(0x79, 1, false)},
                            {18, Data({0x23})},
                            {18, {0}},
                            {17, Header(0x79, 3, true)}});
  ASSERT_EQ(p.statuses.size(), 3u);
  EXPECT_EQ(p.statuses[1].kind, kKindWrite);
  EXPECT_EQ(p.statuses[1].expected, 2u);
  EXPECT_EQ(p.statuses[1].address, 0x123);
  EXPECT_EQ(p.statuses[2].kind, kKindRead);
  EXPECT_EQ(p.statuses[2].address, 0x123);
}

TEST(PlanTransfer, TenBitReadAfterAWriteToTheSameSlaveInsertsNothing) {
  CMasterMessageTx write(CI2cAddress(0x123, true), {0x07});
  CMasterMessageRx read;
  read.SetAddress(CI2cAddress(0x123, true));
  read.SetRequestedCount(1);
  Planned same = Plan({&write, &read});
  ExpectRecords(same.records,
                {kConfig, {16, Header(0x79, 2, false)}, {18, Data({0x23})}, {18, Data({0x07})}, {17, Header(0x79, 1, true)}});
  EXPECT_EQ(same.statuses.size(), 3u);
  EXPECT_EQ(same.statuses[1].expected, 3u);

  CMasterMessageTx other(CI2cAddress(0x124, true), {0x07});
  Planned different = Plan({&other, &read});
  EXPECT_EQ(different.statuses.size(), 4u);
  EXPECT_EQ(different.records.size(), 8u);
}

}  // namespace
}  // namespace zavik::I2cApi
