// The master module against a scheduler played by the test: the records it
// sends for each kind of transfer, and how the scheduler's reports end it.

#include "api/master_module.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "api/board_client.h"
#include "api/exceptions.h"
#include "scripted_peer.h"

namespace zavik::I2cApi {
namespace {

using namespace Cpp;
using namespace Testing;
namespace Off = EntryOffset;

// A board that accepts everything the tests send: master write and read,
// 100 and 400 kHz, high-speed 3.4 MHz, reads up to 300 bytes.
EntryBytes MasterBoard(std::uint8_t type = 2, std::uint8_t masterFlags = 1) {
  EntryBytes e = EntryBytes::Board("scripted", 7, type);
  e.U8(Off::kCapabilityFlags + 8, masterFlags).U8(Off::kCapabilityFlags + 9, masterFlags);
  e.U32s(Off::kBitrates, {100000, 400000}).U32s(Off::kHighSpeedBitrates, {3400000}).U32(Off::kMaxReadLength, 300);
  return e;
}

// A client connected to a BoardService, with its one board open.
class Session {
 public:
  explicit Session(BoardService::BusScript bus, EntryBytes board = MasterBoard(), std::uint16_t vcc = 3300)
      : service_(std::move(board), vcc, std::move(bus)),
        peer_([this](PeerConnection& p) { service_.Serve(p); }),
        client_(std::make_unique<CBoardClient>(peer_.Port())) {
    std::vector<BoardInfo> boards;
    client_->EnumerateBoards(boards);
    client_->OpenBoard(boards.at(0));
    service_.Clear();
  }
  ~Session() {
    try {
      client_.reset();
    } catch (...) {  // the close request cannot reach a scheduler that went away
    }
  }

  CMasterModule& Master() { return *client_->GetMasterModule(); }
  BoardService& Peer() { return service_; }
  CBoardClient& Client() { return *client_; }

 private:
  BoardService service_;
  ScriptedPeer peer_;
  std::unique_ptr<CBoardClient> client_;
};

BoardService::BusScript Healthy() { return HealthyBus; }

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

void ExpectRecords(BoardService& peer, const std::vector<Expected>& expected) {
  const std::vector<SchedulerMessage> records = peer.MasterRecords();
  peer.Clear();
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
  Session s(Healthy());
  CMasterMessageTx write(CI2cAddress(0x50, false), Sequence(1, 17));
  s.Master().TransferOne(write);
  EXPECT_EQ(write.GetTransferredCount(), 17u);
  EXPECT_FALSE(s.Master().IsRunning());
  ExpectRecords(s.Peer(), {kConfig, Header(16, 0x50, 17, true), Data(Sequence(1, 8)), Data(Sequence(9, 8)), Data({17})});
  CMasterMessageTx eight(CI2cAddress(0x50, false), Sequence(0x30, 8));
  s.Master().TransferOne(eight);
  ExpectRecords(s.Peer(), {kConfig, Header(16, 0x50, 8, true), Data(Sequence(0x30, 8))});
  CMasterMessageTx empty(CI2cAddress(0x20, false), {});
  s.Master().TransferOne(empty);
  ExpectRecords(s.Peer(), {kConfig, Header(16, 0x20, 0, true), {18, {0}}});
}

TEST(MasterModuleTransfer, TenBitWriteAndRead) {
  Session s(Healthy());
  CMasterMessageTx write(CI2cAddress(0x2A5, true), {0x11, 0x22, 0x33});
  s.Master().TransferOne(write);
  EXPECT_EQ(write.GetTransferredCount(), 3u);
  ExpectRecords(s.Peer(), {kConfig, Header(16, 0x7A, 4, true), Data({0xA5}), Data({0x11, 0x22, 0x33})});

  CMasterMessageRx read = ReadOf(3, CI2cAddress(0x123, true));
  s.Master().TransferOne(read);  // an address-only write goes in front
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0xC0, 0xC1, 0xC2}));
  ExpectRecords(s.Peer(), {kConfig, Header(16, 0x79, 1, false), Data({0x23}), {18, {0}}, Header(17, 0x79, 3, true)});

  CMasterMessageTx pointer(CI2cAddress(0x123, true), {0x05});
  s.Master().Transfer({&pointer, &read});
  EXPECT_EQ(read.GetData().size(), 3u);
  ExpectRecords(s.Peer(), {kConfig, Header(16, 0x79, 2, false), Data({0x23}), Data({0x05}), Header(17, 0x79, 3, true)});
}

TEST(MasterModuleTransfer, RegisterReadIsOneCombinedTransfer) {
  Session s(Healthy());
  CMasterMessageTx registerAddress(CI2cAddress(0x50, false), {0x10});
  CMasterMessageRx read = ReadOf(2);
  read.GetData() = {0xEE};  // emptied before the transfer
  s.Master().Transfer({&registerAddress, &read});
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0xC0, 0xC1}));
  ExpectRecords(s.Peer(), {kConfig, Header(16, 0x50, 1, false), Data({0x10}), Header(17, 0x50, 2, true)});
  s.Master().Transfer({});
  EXPECT_TRUE(s.Peer().MasterRecords().empty()) << "an empty list sends nothing";
}

TEST(MasterModuleTransfer, BoardTypeRulesAndReadLength) {
  Session single(Healthy(), MasterBoard(1));
  CMasterMessageTx fits(CI2cAddress(0x50, false), std::vector<std::uint8_t>(8191, 0x5A));  // 8192 with the address
  single.Master().TransferOne(fits);
  EXPECT_EQ(fits.GetTransferredCount(), 8191u);
  EXPECT_EQ(single.Peer().MasterRecords().size(), 2u + 1024u);
  single.Peer().Clear();
  CMasterMessageTx tooLong(CI2cAddress(0x50, false), std::vector<std::uint8_t>(8192, 0x5A));
  EXPECT_THROW(single.Master().TransferOne(tooLong), CExceptionMasterInvalidTransfer);
  EXPECT_TRUE(single.Peer().MasterRecords().empty());
  EXPECT_FALSE(single.Master().IsRunning());

  Session writeRead(Healthy(), MasterBoard(3));
  CMasterMessageTx empty(CI2cAddress(0x50, false), {});
  CMasterMessageTx write(CI2cAddress(0x50, false), {0x01});
  CMasterMessageRx read = ReadOf(1);
  EXPECT_THROW(writeRead.Master().Transfer({&empty, &read}), CExceptionMasterInvalidTransfer);
  EXPECT_THROW(writeRead.Master().Transfer({&read, &write}), CExceptionMasterInvalidTransfer);
  EXPECT_TRUE(writeRead.Peer().MasterRecords().empty());
  writeRead.Master().Transfer({&write, &read});
  EXPECT_EQ(read.GetData().size(), 1u);

  CMasterMessageRx longest = ReadOf(300);
  writeRead.Master().TransferOne(longest);
  EXPECT_EQ(longest.GetData().size(), 300u);
  CMasterMessageRx tooMany = ReadOf(301);
  EXPECT_THROW(writeRead.Master().TransferOne(tooMany), CExceptionMasterInvalidTransfer);
}

TEST(MasterModuleBitrate, ChosenRatesReachTheNextTransfer) {
  Session s(Healthy());
  EXPECT_THROW(s.Master().SetBitrate(123), CExceptionMasterInvalidBitrate);
  EXPECT_THROW(s.Master().SetHighSpeedBitrate(1000000), CExceptionMasterInvalidBitrate);
  s.Master().SetBitrate(400000);
  s.Master().SetHighSpeedBitrate(3400000);
  CMasterMessageTx write(CI2cAddress(0x50, false), {1, 2});
  s.Master().TransferOne(write);  // each message behind a high-speed master code
  EXPECT_EQ(write.GetTransferredCount(), 2u);
  const std::vector<SchedulerMessage> records = s.Peer().MasterRecords();
  ASSERT_FALSE(records.empty());
  EXPECT_EQ(records[0].U32At(4), 400000u);
  EXPECT_EQ(records[0].U32At(8), 3400000u);
}

TEST(MasterModuleBitrate, RefusedWhileATransferIsRunning) {
  // 33 is not an answer to a configuration: entry 0 ends in its error phase,
  // so the transfer fails and tracking still counts as running.
  Session s([](const TransferRecords&) { return Reports("s33"); });
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  EXPECT_THROW(s.Master().TransferOne(write), CExceptionMasterInvalidBitrate);
  EXPECT_TRUE(s.Master().IsRunning());
  EXPECT_THROW(s.Master().SetBitrate(400000), CExceptionMasterRunning);
  EXPECT_THROW(s.Master().SetHighSpeedBitrate(0), CExceptionMasterRunning);
  EXPECT_EQ(s.Master().GetBitrate(), 100000u);

  Session rejected([](const TransferRecords&) { return Reports("s31"); });
  EXPECT_THROW(rejected.Master().TransferOne(write), CExceptionMasterInvalidBitrate);
  EXPECT_FALSE(rejected.Master().IsRunning());
}

TEST(MasterModuleReadiness, ChecksBeforeAnythingIsSent) {
  Session lowVcc(Healthy(), MasterBoard(), 900);
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  EXPECT_THROW(lowVcc.Master().TransferOne(write), CExceptionI2cVcc);
  EXPECT_THROW(lowVcc.Master().Transfer({}), CExceptionI2cVcc);
  EXPECT_TRUE(lowVcc.Peer().MasterRecords().empty());

  Session slave(Healthy(), MasterBoard(2, 0));
  EXPECT_THROW(slave.Master().TransferOne(write), CExceptionMasterNotSupported);
  EXPECT_THROW(slave.Master().SetHighSpeedBitrate(0), CExceptionMasterNotSupported);
  EXPECT_TRUE(slave.Peer().MasterRecords().empty());
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.ReceiveUntilClosed();
  });
  CBoardClient unopened(peer.Port());
  EXPECT_THROW(unopened.GetMasterModule()->TransferOne(write), CExceptionDeviceOpen);
  EXPECT_THROW(unopened.GetMasterModule()->SetBitrate(100000), CExceptionDeviceOpen);
}

}  // namespace
}  // namespace zavik::I2cApi
