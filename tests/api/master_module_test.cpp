// The master module against the in-process simulator (a scripted scheduler
// for answers the simulator never gives): the records it sends for each kind
// of transfer, and how the scheduler's reports end it.

#include "api/master_module.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "api/board_client.h"
#include "api/exceptions.h"
#include "scheduler_link/message_codes.h"
#include "scripted_scheduler.h"
#include "sim/board_entry.h"
#include "sim/in_process_scheduler.h"

namespace zavik::I2cApi {
namespace {

using namespace Cpp;
using namespace Testing;
using namespace I2cScheduler::ToScheduler;

// The one board: master write and read, 100 and 400 kHz, high-speed
// 3.4 MHz, reads up to 300 bytes, and register files at 0x50, 0x20 and the
// 10-bit addresses 0x2A5 and 0x123 whose register n holds 0xC0 + n.
I2cSim::Bench MasterBench(std::uint8_t type = 2, bool master = true, std::uint16_t vcc = 3300) {
  I2cSim::Bench bench = I2cSim::DefaultBench();
  I2cSim::BenchBoard& board = bench.boards.at(0);
  board.info.boardType = type;
  board.info.capabilityFlags[8] = board.info.capabilityFlags[9] = master ? 1 : 0;
  board.info.bitrates = {100000, 400000};
  board.info.highSpeedBitrates = {3400000};
  board.info.maxReadLength = 300;
  board.i2cVcc = vcc;
  board.devices.clear();
  for (auto [address, tenBit] : {std::pair{0x50, false}, {0x20, false}, {0x2A5, true}, {0x123, true}}) {
    I2cSim::BenchDevice device;
    device.address = static_cast<std::uint16_t>(address);
    device.tenBit = tenBit;
    for (int n = 0; n < 256; ++n) device.registers.contents.push_back(static_cast<std::uint8_t>(0xC0 + n));
    board.devices.push_back(device);
  }
  return bench;
}

// A client of the simulated scheduler with its one board open.
class Session {
 public:
  explicit Session(const I2cSim::Bench& bench = MasterBench()) : sim_(bench), client_(sim_.Connect()) {
    std::vector<BoardInfo> boards;
    client_.EnumerateBoards(boards);
    client_.OpenBoard(boards.at(0));
    seen_ = sim_.Received(1).size();
  }

  CMasterModule& Master() { return *client_.GetMasterModule(); }
  // The master records (16 to 19) sent since the last call.
  std::vector<SchedulerMessage> MasterRecords() {
    std::vector<SchedulerMessage> master;
    const std::vector<SchedulerMessage>& all = sim_.Received(1);
    for (; seen_ < all.size(); ++seen_)
      if (all[seen_].Code() >= 16 && all[seen_].Code() <= 19) master.push_back(all[seen_]);
    return master;
  }

 private:
  I2cSim::InProcessScheduler sim_;
  CBoardClient client_;
  std::size_t seen_ = 0;
};

struct Expected {
  std::uint32_t code;
  std::vector<std::uint8_t> bytes;  // from byte 4 on
};

Expected Header(std::uint32_t code, std::uint8_t address, std::uint32_t count, bool last) {
  return {code, {address, static_cast<std::uint8_t>(count), static_cast<std::uint8_t>(count >> 8),
                 static_cast<std::uint8_t>(count >> 16), static_cast<std::uint8_t>(count >> 24),
                 static_cast<std::uint8_t>(last ? 1 : 0)}};
}

std::vector<std::uint8_t> Sequence(std::uint8_t first, std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(first + i);
  return bytes;
}

Expected Data(std::vector<std::uint8_t> bytes) {
  bytes.insert(bytes.begin(), static_cast<std::uint8_t>(bytes.size()));
  return {18, bytes};
}

const Expected kConfig{19, {0xA0, 0x86, 0x01, 0x00, 0, 0, 0, 0}};

void ExpectRecords(Session& session, const std::vector<Expected>& expected) {
  const std::vector<SchedulerMessage> records = session.MasterRecords();
  ASSERT_EQ(records.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(records[i].Code(), expected[i].code) << "record " << i;
    for (std::size_t b = 0; b < expected[i].bytes.size(); ++b) {
      EXPECT_EQ(records[i].Byte(4 + b), expected[i].bytes[b]) << "record " << i << " byte " << 4 + b;
    }
  }
}

CMasterMessageRx ReadOf(std::uint32_t count, CI2cAddress address = CI2cAddress(0x50, false)) {
  CMasterMessageRx read;
  read.SetAddress(address);
  read.SetRequestedCount(count);
  return read;
}

TEST(MasterModuleTransfer, WriteDataGoesOutInGroupsOfEight) {
  Session s;
  CMasterMessageTx write(CI2cAddress(0x50, false), Sequence(1, 17));
  s.Master().TransferOne(write);
  EXPECT_EQ(write.GetTransferredCount(), 17u);
  EXPECT_FALSE(s.Master().IsRunning());
  ExpectRecords(s, {kConfig, Header(16, 0x50, 17, true), Data(Sequence(1, 8)), Data(Sequence(9, 8)), Data({17})});
  CMasterMessageTx eight(CI2cAddress(0x50, false), Sequence(0x30, 8));
  s.Master().TransferOne(eight);
  ExpectRecords(s, {kConfig, Header(16, 0x50, 8, true), Data(Sequence(0x30, 8))});
  CMasterMessageTx empty(CI2cAddress(0x20, false), {});
  s.Master().TransferOne(empty);
  ExpectRecords(s, {kConfig, Header(16, 0x20, 0, true), {18, {0}}});
}

TEST(MasterModuleTransfer, TenBitWriteAndRead) {
  Session s;
  CMasterMessageTx write(CI2cAddress(0x2A5, true), {0x11, 0x22, 0x33});
  s.Master().TransferOne(write);
  EXPECT_EQ(write.GetTransferredCount(), 3u);
  ExpectRecords(s, {kConfig, Header(16, 0x7A, 4, true), Data({0xA5}), Data({0x11, 0x22, 0x33})});

  CMasterMessageRx read = ReadOf(3, CI2cAddress(0x123, true));
  s.Master().TransferOne(read);  // an address-only write goes in front
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0xC0, 0xC1, 0xC2}));
  ExpectRecords(s, {kConfig, Header(16, 0x79, 1, false), Data({0x23}), {18, {0}}, Header(17, 0x79, 3, true)});

  CMasterMessageTx pointer(CI2cAddress(0x123, true), {0x05});
  s.Master().Transfer({&pointer, &read});
  EXPECT_EQ(read.GetData().size(), 3u);
  ExpectRecords(s, {kConfig, Header(16, 0x79, 2, false), Data({0x23}), Data({0x05}), Header(17, 0x79, 3, true)});

  CMasterMessageRx absent = ReadOf(1, CI2cAddress(0x2A6, true));  // the first address byte is acknowledged
  EXPECT_THROW(s.Master().TransferOne(absent), CExceptionMasterAddress);
  EXPECT_FALSE(s.Master().IsRunning());
}

TEST(MasterModuleTransfer, RegisterReadIsOneCombinedTransfer) {
  Session s;
  CMasterMessageTx registerAddress(CI2cAddress(0x50, false), {0x10});
  CMasterMessageRx read = ReadOf(2);
  read.GetData() = {0xEE};  // emptied before the transfer
  s.Master().Transfer({&registerAddress, &read});
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0xD0, 0xD1}));
  ExpectRecords(s, {kConfig, Header(16, 0x50, 1, false), Data({0x10}), Header(17, 0x50, 2, true)});
  s.Master().Transfer({});
  EXPECT_TRUE(s.MasterRecords().empty()) << "an empty list sends nothing";
}

TEST(MasterModuleTransfer, BoardTypeRulesAndReadLength) {
  Session single(MasterBench(1));
  CMasterMessageTx fits(CI2cAddress(0x50, false), std::vector<std::uint8_t>(8191, 0x5A));  // 8192 with the address
  single.Master().TransferOne(fits);
  EXPECT_EQ(fits.GetTransferredCount(), 8191u);
  EXPECT_EQ(single.MasterRecords().size(), 2u + 1024u);
  CMasterMessageTx tooLong(CI2cAddress(0x50, false), std::vector<std::uint8_t>(8192, 0x5A));
  EXPECT_THROW(single.Master().TransferOne(tooLong), CExceptionMasterInvalidTransfer);
  EXPECT_TRUE(single.MasterRecords().empty());
  EXPECT_FALSE(single.Master().IsRunning());

  Session writeRead(MasterBench(3));
  CMasterMessageTx empty(CI2cAddress(0x50, false), {});
  CMasterMessageTx write(CI2cAddress(0x50, false), {0x01});
  CMasterMessageRx read = ReadOf(1);
  EXPECT_THROW(writeRead.Master().Transfer({&empty, &read}), CExceptionMasterInvalidTransfer);
  EXPECT_THROW(writeRead.Master().Transfer({&read, &write}), CExceptionMasterInvalidTransfer);
  EXPECT_TRUE(writeRead.MasterRecords().empty());
  writeRead.Master().Transfer({&write, &read});
  EXPECT_EQ(read.GetData().size(), 1u);

  CMasterMessageRx longest = ReadOf(300);
  writeRead.Master().TransferOne(longest);
  EXPECT_EQ(longest.GetData().size(), 300u);
  CMasterMessageRx tooMany = ReadOf(301);
  EXPECT_THROW(writeRead.Master().TransferOne(tooMany), CExceptionMasterInvalidTransfer);
}

TEST(MasterModuleBitrate, ChosenRatesReachTheNextTransfer) {
  Session s;
  EXPECT_THROW(s.Master().SetBitrate(123), CExceptionMasterInvalidBitrate);
  EXPECT_THROW(s.Master().SetHighSpeedBitrate(1000000), CExceptionMasterInvalidBitrate);
  s.Master().SetBitrate(400000);
  s.Master().SetHighSpeedBitrate(3400000);
  CMasterMessageTx write(CI2cAddress(0x50, false), {1, 2});
  s.Master().TransferOne(write);  // each message behind a high-speed master code
  EXPECT_EQ(write.GetTransferredCount(), 2u);
  const std::vector<SchedulerMessage> records = s.MasterRecords();
  ASSERT_FALSE(records.empty());
  EXPECT_EQ(records[0].U32At(4), 400000u);
  EXPECT_EQ(records[0].U32At(8), 3400000u);
  CMasterMessageTx pointer(CI2cAddress(0x50, false), {0x10});
  CMasterMessageRx read = ReadOf(2);
  s.Master().Transfer({&pointer, &read});  // the reads behind the master code too
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0xD0, 0xD1}));
}

// Transfer answers the simulator never gives, from a scripted scheduler.
TEST(MasterModuleBitrate, RefusedWhileATransferIsRunning) {
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  for (std::uint32_t answer : {33, 31}) {
    ScriptedScheduler s;
    s.Send({Greeting()}).Answer(kBoardListRequest, I2cSim::BoardListMessages({MasterBench().boards[0].info}));
    s.Answer(kOpenBoard, {Status(1), Vcc(3300)});
    s.Expect(kConfigureMaster).Expect(kWriteHeader).Expect(kWriteData).Send({Status(answer)});
    s.Answer(kCloseBoard, {Status(3)});
    CBoardClient client(s.Connect());
    std::vector<BoardInfo> boards;
    client.EnumerateBoards(boards);
    client.OpenBoard(boards.at(0));
    CMasterModule& master = *client.GetMasterModule();
    EXPECT_THROW(master.TransferOne(write), CExceptionMasterInvalidBitrate);
    if (answer == 31) {
      EXPECT_FALSE(master.IsRunning());
      continue;
    }
    // 33 is not an answer to a configuration: entry 0 ends in its error
    // phase, so the transfer fails and tracking still counts as running.
    EXPECT_TRUE(master.IsRunning());
    EXPECT_THROW(master.SetBitrate(400000), CExceptionMasterRunning);
    EXPECT_THROW(master.SetHighSpeedBitrate(0), CExceptionMasterRunning);
    EXPECT_EQ(master.GetBitrate(), 100000u);
  }
}

TEST(MasterModuleReadiness, ChecksBeforeAnythingIsSent) {
  Session lowVcc(MasterBench(2, true, 900));
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  EXPECT_THROW(lowVcc.Master().TransferOne(write), CExceptionI2cVcc);
  EXPECT_THROW(lowVcc.Master().Transfer({}), CExceptionI2cVcc);
  EXPECT_TRUE(lowVcc.MasterRecords().empty());

  Session slave(MasterBench(2, false));
  EXPECT_THROW(slave.Master().TransferOne(write), CExceptionMasterNotSupported);
  EXPECT_THROW(slave.Master().SetHighSpeedBitrate(0), CExceptionMasterNotSupported);
  EXPECT_TRUE(slave.MasterRecords().empty());
  I2cSim::InProcessScheduler sim;
  CBoardClient unopened(sim.Connect());
  EXPECT_THROW(unopened.GetMasterModule()->TransferOne(write), CExceptionDeviceOpen);
  EXPECT_THROW(unopened.GetMasterModule()->SetBitrate(100000), CExceptionDeviceOpen);
}

}  // namespace
}  // namespace zavik::I2cApi
