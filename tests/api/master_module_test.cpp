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
using Testing::HealthyBus;
using Testing::ScriptedPeer;
using Testing::TestBoard;
using Testing::TransferRecords;
using I2cScheduler::SchedulerMessage;

// A client connected to a scripted peer, with the peer's one board open.
class Session {
 public:
  explicit Session(ScriptedPeer::TransferScript script, BoardInfo board = TestBoard(), std::uint16_t vcc = 3300)
      : peer_(std::move(board), vcc, std::move(script)), client_(std::make_unique<CBoardClient>(peer_.Port())) {
    std::vector<BoardInfo> boards;
    client_->EnumerateBoards(boards);
    client_->OpenBoard(boards.at(0));
    peer_.ClearReceived();
  }
  ~Session() {
    try {
      client_.reset();
    } catch (...) {  // the close request cannot reach a scheduler that went away
    }
  }

  CMasterModule& Master() { return *client_->GetMasterModule(); }
  ScriptedPeer& Peer() { return peer_; }
  CBoardClient& Client() { return *client_; }

 private:
  ScriptedPeer peer_;
  std::unique_ptr<CBoardClient> client_;
};

ScriptedPeer::TransferScript Healthy(std::vector<int> absent = {}) {
  return [absent](const TransferRecords& records) { return HealthyBus(records, absent); };
}

// Replaces the bus reports from the first 22 on by the given records.
ScriptedPeer::TransferScript Failing(std::vector<SchedulerMessage> tail) {
  return [tail](const TransferRecords&) {
    I2cScheduler::MessageQueue q;
    SchedulerMessage accepted = SchedulerMessage::WithCode(13);
    accepted.SetU32At(4, 30);
    q.push_back(accepted);
    q.push_back(SchedulerMessage::WithCode(22));
    q.push_back(SchedulerMessage::WithCode(5));
    q.insert(q.end(), tail.begin(), tail.end());
    return q;
  };
}

SchedulerMessage WithU32(std::uint32_t code, std::uint32_t value) {
  SchedulerMessage m = SchedulerMessage::WithCode(code);
  m.SetU32At(4, value);
  return m;
}

std::vector<SchedulerMessage> Bits(std::uint8_t value, bool acknowledged) {
  std::vector<SchedulerMessage> bits;
  for (int i = 7; i >= 0; --i) {
    SchedulerMessage bit = SchedulerMessage::WithCode(7);
    bit.SetByte(4, static_cast<std::uint8_t>((value >> i) & 1));
    bits.push_back(bit);
  }
  SchedulerMessage ack = SchedulerMessage::WithCode(7);
  ack.SetByte(4, acknowledged ? 0 : 1);
  bits.push_back(ack);
  return bits;
}

std::vector<SchedulerMessage> Concat(std::initializer_list<std::vector<SchedulerMessage>> parts) {
  std::vector<SchedulerMessage> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

struct Expected {
  std::uint32_t code;
  std::vector<std::uint8_t> bytes;  // from byte 4 on
};

std::vector<std::uint8_t> Header(std::uint8_t address, std::uint32_t count, bool last) {
  return {address, static_cast<std::uint8_t>(count), static_cast<std::uint8_t>(count >> 8),
          static_cast<std::uint8_t>(count >> 16), static_cast<std::uint8_t>(count >> 24),
          static_cast<std::uint8_t>(last ? 1 : 0)};
}

void ExpectRecords(const std::vector<SchedulerMessage>& records, const std::vector<Expected>& expected) {
  ASSERT_EQ(records.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(records[i].Code(), expected[i].code) << "record " << i;
    for (std::size_t b = 0; b < expected[i].bytes.size(); ++b) {
      EXPECT_EQ(records[i].Byte(4 + b), expected[i].bytes[b]) << "record " << i << " byte " << 4 + b;
    }
  }
}

std::vector<std::uint8_t> Sequence(std::uint8_t first, std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(first + i);
  return bytes;
}

std::vector<std::uint8_t> Data(std::vector<std::uint8_t> bytes) {
  bytes.insert(bytes.begin(), static_cast<std::uint8_t>(bytes.size()));
  return bytes;
}

CMasterMessageRx ReadOf(std::uint32_t count, CI2cAddress address) {
  CMasterMessageRx read;
  read.SetAddress(address);
  read.SetRequestedCount(count);
  return read;
}

template <typename Work>
std::string FailureText(Work work) {
  try {
    work();
  } catch (const CException& e) {
    return e.GetText();
  }
  return "no exception";
}

const Expected kConfig{19, {0xA0, 0x86, 0x01, 0x00, 0, 0, 0, 0}};

TEST(MasterModuleTransfer, WriteDataGoesOutInGroupsOfEight) {
  Session s(Healthy());
  CMasterMessageTx write(CI2cAddress(0x50, false), Sequence(1, 17));
  s.Master().TransferOne(write);
  EXPECT_EQ(write.GetTransferredCount(), 17u);
  EXPECT_FALSE(s.Master().IsRunning());
  ExpectRecords(s.Peer().MasterRecords(), {kConfig,
                                           {16, Header(0x50, 17, true)},
                                           {18, Data(Sequence(1, 8))},
                                           {18, Data(Sequence(9, 8))},
                                           {18, Data({17})}});

  s.Peer().ClearReceived();
  CMasterMessageTx eight(CI2cAddress(0x50, false), Sequence(0x30, 8));
  s.Master().TransferOne(eight);
  ExpectRecords(s.Peer().MasterRecords(), {kConfig, {16, Header(0x50, 8, true)}, {18, Data(Sequence(0x30, 8))}});

  s.Peer().ClearReceived();
  CMasterMessageTx empty(CI2cAddress(0x20, false), {});
  s.Master().TransferOne(empty);
  ExpectRecords(s.Peer().MasterRecords(), {kConfig, {16, Header(0x20, 0, true)}, {18, {0}}});
}

TEST(MasterModuleTransfer, TenBitWrite) {
  Session s(Healthy());
  CMasterMessageTx write(CI2cAddress(0x2A5, true), {0x11, 0x22, 0x33});
  s.Master().TransferOne(write);
  EXPECT_EQ(write.GetTransferredCount(), 3u);
  ExpectRecords(s.Peer().MasterRecords(),
                {kConfig, {16, Header(0x7A, 4, true)}, {18, Data({0xA5})}, {18, Data({0x11, 0x22, 0x33})}});
}

TEST(MasterModuleTransfer, TenBitReadGetsAnAddressOnlyWriteInFront) {
  Session s(Healthy());
  CMasterMessageRx read = ReadOf(3, CI2cAddress(0x123, true));
  s.Master().TransferOne(read);
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0xC0, 0xC1, 0xC2}));
  ExpectRecords(s.Peer().MasterRecords(), {kConfig,
                                           {16, Header(0x79, 1, false)},
                                           {18, Data({0x23})},
                                           {18, {0}},
                                           {17, Header(0x79, 3, true)}});

  s.Peer().ClearReceived();
  CMasterMessageTx write(CI2cAddress(0x123, true), {0x05});
  s.Master().Transfer({&write, &read});
  EXPECT_EQ(read.GetData().size(), 3u);
  ExpectRecords(s.Peer().MasterRecords(), {kConfig,
                                           {16, Header(0x79, 2, false)},
                                           {18, Data({0x23})},
                                           {18, Data({0x05})},
                                           {17, Header(0x79, 3, true)}});
}

TEST(MasterModuleTransfer, UnansweredAddressOnlyWriteEndsTheTenBitRead) {
  Session s(Healthy({0x123}));
  CMasterMessageRx read = ReadOf(2, CI2cAddress(0x123, true));
  EXPECT_THROW(s.Master().TransferOne(read), CExceptionMasterAddress);
  EXPECT_FALSE(s.Master().IsRunning());
  EXPECT_TRUE(read.GetData().empty());
}

TEST(MasterModuleTransfer, RegisterReadIsOneCombinedTransfer) {
  Session s(Healthy());
  CMasterMessageTx registerAddress(CI2cAddress(0x50, false), {0x10});
  CMasterMessageRx read = ReadOf(2, CI2cAddress(0x50, false));
  read.GetData() = {0xEE};  // emptied before the transfer
  s.Master().Transfer({&registerAddress, &read});
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0xC0, 0xC1}));
  ExpectRecords(s.Peer().MasterRecords(),
                {kConfig, {16, Header(0x50, 1, false)}, {18, Data({0x10})}, {17, Header(0x50, 2, true)}});
}

TEST(MasterModuleTransfer, EmptyListSendsNothing) {
  Session s(Healthy());
  s.Master().Transfer({});
  EXPECT_TRUE(s.Peer().MasterRecords().empty());
}

TEST(MasterModuleTransfer, SingleFrameBoardSumsTransmittedBytes) {
  Session s(Healthy(), TestBoard(1));
  CMasterMessageTx fits(CI2cAddress(0x50, false), std::vector<std::uint8_t>(8191, 0x5A));
  s.Master().TransferOne(fits);
  EXPECT_EQ(fits.GetTransferredCount(), 8191u);
  EXPECT_EQ(s.Peer().MasterRecords().size(), 2u + 1024u);

  s.Peer().ClearReceived();
  CMasterMessageTx tooLong(CI2cAddress(0x50, false), std::vector<std::uint8_t>(8192, 0x5A));
  EXPECT_THROW(s.Master().TransferOne(tooLong), CExceptionMasterInvalidTransfer);
  CMasterMessageRx read = ReadOf(1, CI2cAddress(0x50, false));
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  EXPECT_THROW(s.Master().Transfer({&read, &write}), CExceptionMasterInvalidTransfer);
  EXPECT_TRUE(s.Peer().MasterRecords().empty());
  EXPECT_FALSE(s.Master().IsRunning());
}

TEST(MasterModuleTransfer, WriteReadBoardRules) {
  Session s(Healthy(), TestBoard(3));
  CMasterMessageTx empty(CI2cAddress(0x50, false), {});
  CMasterMessageTx write(CI2cAddress(0x50, false), {0x01});
  CMasterMessageRx read = ReadOf(1, CI2cAddress(0x50, false));
  EXPECT_THROW(s.Master().Transfer({&empty, &read}), CExceptionMasterInvalidTransfer);
  EXPECT_THROW(s.Master().Transfer({&write, &read, &read}), CExceptionMasterInvalidTransfer);
  EXPECT_THROW(s.Master().Transfer({&read, &write}), CExceptionMasterInvalidTransfer);
  EXPECT_TRUE(s.Peer().MasterRecords().empty());
  s.Master().Transfer({&write, &read});
  EXPECT_EQ(read.GetData().size(), 1u);
}

TEST(MasterModuleTransfer, ReadLengthLimitedByTheBoard) {
  Session s(Healthy());
  CMasterMessageRx longest = ReadOf(300, CI2cAddress(0x50, false));
  s.Master().TransferOne(longest);
  EXPECT_EQ(longest.GetData().size(), 300u);
  CMasterMessageRx tooLong = ReadOf(301, CI2cAddress(0x50, false));
  EXPECT_THROW(s.Master().TransferOne(tooLong), CExceptionMasterInvalidTransfer);
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
  s.Master().SetHighSpeedBitrate(0);
  EXPECT_EQ(s.Master().GetHighSpeedBitrate(), 0u);
}

TEST(MasterModuleBitrate, RefusedWhileATransferIsRunning) {
  // 33 is not an answer to a configuration: entry 0 ends unexpected, so the
  // transfer fails and tracking still counts as running.
  Session s([](const TransferRecords&) { return I2cScheduler::MessageQueue{WithU32(13, 33)}; });
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  EXPECT_THROW(s.Master().TransferOne(write), CExceptionMasterInvalidBitrate);
  EXPECT_TRUE(s.Master().IsRunning());
  EXPECT_THROW(s.Master().SetBitrate(400000), CExceptionMasterRunning);
  EXPECT_THROW(s.Master().SetHighSpeedBitrate(0), CExceptionMasterRunning);
  EXPECT_EQ(s.Master().GetBitrate(), 100000u);
}

TEST(MasterModuleBitrate, RejectedConfigurationStopsTracking) {
  Session s([](const TransferRecords&) { return I2cScheduler::MessageQueue{WithU32(13, 31)}; });
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  EXPECT_THROW(s.Master().TransferOne(write), CExceptionMasterInvalidBitrate);
  EXPECT_FALSE(s.Master().IsRunning());
}

TEST(MasterModuleFailures, SlaveThatDoesNotAnswerOrStopsEarly) {
  Session s(Healthy({0x51}));
  CMasterMessageTx absent(CI2cAddress(0x51, false), {1, 2});
  EXPECT_THROW(s.Master().TransferOne(absent), CExceptionMasterAddress);
  EXPECT_EQ(absent.GetTransferredCount(), 0u);
  EXPECT_FALSE(s.Master().IsRunning());
}

TEST(MasterModuleFailures, WriteNackedAfterOneByte) {
  Session s(Failing(Concat({Bits(0xA0, true), Bits(0x01, true), Bits(0x02, false), {SchedulerMessage::WithCode(6)}})));
  CMasterMessageTx write(CI2cAddress(0x50, false), {1, 2, 3});
  EXPECT_EQ(FailureText([&] { s.Master().TransferOne(write); }), "The slave has acknowledged only 1 byte.");
  EXPECT_EQ(write.GetTransferredCount(), 1u);
}

TEST(MasterModuleFailures, ShortReadKeepsWhatArrived) {
  Session s(Failing(Concat({Bits(0xA1, true), Bits(0x42, false), {SchedulerMessage::WithCode(6)}})));
  CMasterMessageRx read = ReadOf(2, CI2cAddress(0x50, false));
  EXPECT_EQ(FailureText([&] { s.Master().TransferOne(read); }), "We have received only 1 byte from the slave.");
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0x42}));
}

TEST(MasterModuleFailures, ReportsThatEndTheTransfer) {
  struct Case {
    SchedulerMessage report;
    std::string text;
  };
  SchedulerMessage lowVcc = SchedulerMessage::WithCode(24);
  lowVcc.SetU16At(4, 999);
  const std::vector<Case> cases{
      {WithU32(13, 32), CExceptionMasterArbitration().GetText()},
      {WithU32(13, 36), CExceptionMasterTimeout().GetText()},
      {SchedulerMessage::WithCode(8), CExceptionMasterI2cProtocol().GetText()},
      {lowVcc, CExceptionI2cVcc(999).GetText()},
  };
  for (const Case& c : cases) {
    Session s(Failing(Concat({Bits(0xA0, true), {c.report}})));
    CMasterMessageTx write(CI2cAddress(0x50, false), {1});
    EXPECT_EQ(FailureText([&] { s.Master().TransferOne(write); }), c.text);
    EXPECT_FALSE(s.Master().IsRunning());
  }
}

TEST(MasterModuleFailures, BoardLostMidTransferClosesIt) {
  Session s(Failing(Concat({Bits(0xA0, true), {WithU32(13, 46)}})));
  CMasterMessageTx write(CI2cAddress(0x50, false), {1, 2});
  EXPECT_THROW(s.Master().TransferOne(write), CExceptionHardwareIo);
  EXPECT_FALSE(s.Master().IsRunning());
  EXPECT_FALSE(s.Client().IsBoardOpen());
  EXPECT_EQ(s.Peer().Received().back().Code(), 3u);  // the close request
}

TEST(MasterModuleFailures, SchedulerGoneMidTransfer) {
  ScriptedPeer* peer = nullptr;
  Session s([&peer](const TransferRecords&) {
    peer->Disconnect();
    return I2cScheduler::MessageQueue{};
  });
  peer = &s.Peer();
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  EXPECT_THROW(s.Master().TransferOne(write), CExceptionIo);
  EXPECT_FALSE(s.Client().IsBoardOpen());
}

TEST(MasterModuleReadiness, ChecksBeforeAnythingIsSent) {
  Session lowVcc(Healthy(), TestBoard(), 900);
  CMasterMessageTx write(CI2cAddress(0x50, false), {1});
  EXPECT_EQ(FailureText([&] { lowVcc.Master().TransferOne(write); }), CExceptionI2cVcc(900).GetText());
  EXPECT_THROW(lowVcc.Master().Transfer({}), CExceptionI2cVcc);

  BoardInfo noMaster = TestBoard();
  noMaster.capabilityFlags[8] = 0;
  noMaster.capabilityFlags[9] = 0;
  Session slave(Healthy(), noMaster);
  EXPECT_THROW(slave.Master().TransferOne(write), CExceptionMasterNotSupported);
  EXPECT_THROW(slave.Master().SetHighSpeedBitrate(0), CExceptionMasterNotSupported);
  EXPECT_TRUE(slave.Peer().MasterRecords().empty());

  ScriptedPeer peer(TestBoard(), 3300, Healthy());
  CBoardClient unopened(peer.Port());
  EXPECT_THROW(unopened.GetMasterModule()->TransferOne(write), CExceptionDeviceOpen);
  EXPECT_THROW(unopened.GetMasterModule()->SetBitrate(100000), CExceptionDeviceOpen);
}

}  // namespace
}  // namespace zavik::I2cApi
