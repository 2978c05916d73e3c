#include <gtest/gtest.h>

#include <random>

#include "sim/scheduler_core.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

class RecordingOutbox : public Outbox {
 public:
  void Send(ClientId client, const SchedulerMessage& message) override { sent[client].push_back(message); }
  void Trace(const std::string& line) override { traces.push_back(line); }

  // Takes what a client received, without the board status records that any
  // open broadcasts.
  MessageQueue Take(ClientId client, bool withStatus = false) {
    MessageQueue out;
    for (const SchedulerMessage& m : sent[client]) {
      const std::uint32_t code = m.Code();
      if (withStatus || (code != 10 && code != 11 && code != 12 && code != 25 && code != 26)) out.push_back(m);
    }
    sent[client].clear();
    return out;
  }

  std::map<ClientId, MessageQueue> sent;
  std::vector<std::string> traces;
};

SchedulerMessage Request(std::uint32_t code) { return SchedulerMessage::WithCode(code); }

SchedulerMessage Open(std::uint16_t number, std::uint8_t type) {
  SchedulerMessage m = Request(2);
  m.SetU16At(4, number);
  m.SetByte(6, type);
  return m;
}

SchedulerMessage Configure(std::uint32_t bitrate, std::uint32_t highSpeed = 0) {
  SchedulerMessage m = Request(19);
  m.SetU32At(4, bitrate);
  m.SetU32At(8, highSpeed);
  return m;
}

SchedulerMessage Header(std::uint32_t code, std::uint8_t address, std::uint32_t count, bool last) {
  SchedulerMessage m = Request(code);
  m.SetByte(4, address);
  m.SetU32At(5, count);
  m.SetByte(9, last ? 1 : 0);
  return m;
}

SchedulerMessage Data(std::vector<std::uint8_t> bytes) {
  SchedulerMessage m = Request(18);
  m.SetByte(4, static_cast<std::uint8_t>(bytes.size()));
  for (std::size_t i = 0; i < bytes.size(); ++i) m.SetByte(5 + i, bytes[i]);
  return m;
}

std::string Codes(const MessageQueue& messages) {
  std::string out;
  for (const SchedulerMessage& m : messages) {
    if (!out.empty()) out += ' ';
    out += std::to_string(m.Code());
    if (m.Code() == 13) out += "{" + std::to_string(m.U32At(4)) + "}";
    if (m.Code() == 24) out += "{" + std::to_string(m.U16At(4)) + "}";
  }
  return out;
}

class SchedulerCoreTest : public ::testing::Test {
 protected:
  explicit SchedulerCoreTest(Bench b = DefaultBench()) : bench(std::move(b)) {}

  void Start() { core = std::make_unique<SchedulerCore>(bench, clock, outbox); }

  void Connect(ClientId id) { ASSERT_TRUE(core->Connect(id).accepted); }

  void Send(ClientId id, std::initializer_list<SchedulerMessage> messages) {
    for (const SchedulerMessage& m : messages) core->Receive(id, m);
  }

  // Opens the default board for a client and takes its answers.
  void OpenDefault(ClientId id) {
    Send(id, {Open(1, 2)});
    ASSERT_EQ(Codes(outbox.Take(id)), "13{1} 24{3300}");
  }

  // [write {reg}, read n] to the register file at 0x20.
  void ReadRegisters(ClientId id, std::uint8_t reg, std::uint32_t count, std::uint32_t bitrate = 100000) {
    Send(id, {Configure(bitrate), Header(16, 0x20, 1, false), Data({reg}), Header(17, 0x20, count, true)});
  }

  Bench bench;
  SimTest::FakeClock clock;
  RecordingOutbox outbox;
  std::unique_ptr<SchedulerCore> core;
};

TEST_F(SchedulerCoreTest, GreetingCarriesVersionAndBusyFlag) {
  bench.scheduler.version = {1, 6, 42};
  bench.scheduler.maxClients = 2;
  Start();
  const auto first = core->Connect(1);
  EXPECT_TRUE(first.accepted);
  EXPECT_EQ(first.message.Byte(4), 1);
  EXPECT_EQ(first.message.Byte(5), 6);
  EXPECT_EQ(first.message.Byte(6), 42);
  EXPECT_NE(first.message.Byte(8), 1);
  EXPECT_TRUE(core->Connect(2).accepted);
  const auto third = core->Connect(3);
  EXPECT_FALSE(third.accepted);
  EXPECT_EQ(third.message.Byte(8), 1);
  // A place frees up when a client leaves.
  core->Disconnect(1);
  EXPECT_TRUE(core->Connect(4).accepted);
}

TEST_F(SchedulerCoreTest, BoardListIsAnsweredAlsoWhileABoardIsOpen) {
  Start();
  Connect(1);
  Connect(2);
  OpenDefault(1);
  Send(1, {Request(0)});
  const MessageQueue list = outbox.Take(1);
  ASSERT_EQ(list.size(), 2u + 3292u);
  EXPECT_EQ(list.front().Code(), 19u);
  EXPECT_EQ(list.back().Code(), 21u);
  EXPECT_TRUE(outbox.Take(2, true).empty());  // nothing for the client that did not ask
}

TEST_F(SchedulerCoreTest, OpenAnswersTheOpenerAndSendsStatusToEveryoneWithTheBoard) {
  Start();
  Connect(1);
  Connect(2);
  Connect(3);
  OpenDefault(1);
  outbox.Take(1, true);
  Send(2, {Open(1, 2)});
  EXPECT_EQ(Codes(outbox.Take(2, true)), "13{1} 24{3300} 10 11 12 25 26");
  EXPECT_EQ(Codes(outbox.Take(1, true)), "10 11 12 25 26");
  EXPECT_TRUE(outbox.Take(3, true).empty());
  // Wrong type or number: refused.
  Send(3, {Open(1, 3), Open(2, 2)});
  EXPECT_EQ(Codes(outbox.Take(3, true)), "13{2} 13{2}");
}

TEST_F(SchedulerCoreTest, CloseIsAlwaysAcknowledgedAndParallelPortChecksTheIndex) {
  Start();
  Connect(1);
  SchedulerMessage port2 = Request(9), port3 = Request(9);
  port2.SetByte(4, 2);
  port2.SetByte(5, 1);
  port3.SetByte(4, 3);
  Send(1, {Request(3), port2, port3});
  EXPECT_EQ(Codes(outbox.Take(1)), "13{3} 13{14} 13{15}");
  OpenDefault(1);
  Send(1, {Request(3), Request(3)});
  EXPECT_EQ(Codes(outbox.Take(1)), "13{3} 13{3}");
}

TEST_F(SchedulerCoreTest, ConfigurationAcceptedComesBeforeTheFirstMessageBegins) {
  Start();
  Connect(1);
  Connect(2);
  OpenDefault(1);
  OpenDefault(2);
  outbox.Take(1, true);
  ReadRegisters(1, 0x00, 1, 400000);
  const MessageQueue answers = outbox.Take(1, true);
  ASSERT_GE(answers.size(), 2u);
  EXPECT_EQ(Codes({answers[0], answers[1]}), "13{30} 22");
  EXPECT_EQ(answers.back().Code(), 6u);
  EXPECT_TRUE(outbox.Take(2, true).empty());  // reports go to the client that asked only
  ASSERT_FALSE(outbox.traces.empty());
  EXPECT_EQ(outbox.traces.back(), "client 1 board 1: S 20W A 00 A Sr 20R A 00 N P -> ok");
}

TEST_F(SchedulerCoreTest, RejectedConfigurationDropsTheTransfer) {
  Start();
  Connect(1);
  OpenDefault(1);
  // 200 kHz is not listed; 2 MHz is not a listed high-speed rate; a
  // high-speed rate of 0 is always fine.
  Send(1, {Configure(200000), Header(16, 0x20, 2, true), Data({0x05, 0x77})});
  EXPECT_EQ(Codes(outbox.Take(1)), "13{31}");
  Send(1, {Configure(400000, 2000000), Header(16, 0x20, 2, true), Data({0x05, 0x77})});
  EXPECT_EQ(Codes(outbox.Take(1)), "13{31}");
  // Nothing was written: register 5 still reads 0.
  ReadRegisters(1, 0x05, 1);
  EXPECT_EQ(SimTest::Render(outbox.Take(1)), "13{30} 22 S 010000000 000001010 22 S 010000010 000000001 P");
}

TEST_F(SchedulerCoreTest, ConfigurationWithoutAnOpenBoardIsRejected) {
  Start();
  Connect(1);
  ReadRegisters(1, 0x00, 1);
  EXPECT_EQ(Codes(outbox.Take(1)), "13{31}");
}

TEST_F(SchedulerCoreTest, ClientsSharingABoardSeeEachOthersWrites) {
  Start();
  Connect(1);
  Connect(2);
  OpenDefault(1);
  OpenDefault(2);
  Send(1, {Configure(100000), Header(16, 0x20, 2, true), Data({0x07, 0x5C})});
  outbox.Take(1);
  ReadRegisters(2, 0x07, 1);
  EXPECT_EQ(SimTest::Render(outbox.Take(2)), "13{30} 22 S 010000000 000001110 22 S 010000010 010111001 P");
}

TEST_F(SchedulerCoreTest, DisconnectMidTransferLeavesOthersAndTheDeviceAlone) {
  Start();
  Connect(1);
  Connect(2);
  OpenDefault(1);
  OpenDefault(2);
  Send(1, {Configure(100000), Header(16, 0x20, 9, true), Data({0x03, 1, 2, 3, 4, 5, 6, 7})});
  core->Disconnect(1);
  Send(1, {Data({8})});  // a late record of a gone client is ignored
  ReadRegisters(2, 0x03, 1);
  EXPECT_EQ(SimTest::Render(outbox.Take(2)), "13{30} 22 S 010000000 000000110 22 S 010000010 000000001 P");
}

TEST_F(SchedulerCoreTest, BoardThatStopsRespondingTellsEveryoneWithItOpen) {
  bench.boards[0].faults.stopsRespondingAfter = 1;
  Start();
  Connect(1);
  Connect(2);
  Connect(3);
  OpenDefault(1);
  OpenDefault(2);
  ReadRegisters(1, 0, 1);
  EXPECT_EQ(outbox.Take(1).front().U32At(4), 30u);
  ReadRegisters(1, 0, 1);
  EXPECT_EQ(Codes(outbox.Take(1)), "13{46}");
  EXPECT_EQ(Codes(outbox.Take(2)), "13{46}");
  EXPECT_TRUE(outbox.Take(3).empty());
  Send(1, {Request(3), Open(1, 2)});
  EXPECT_EQ(Codes(outbox.Take(1)), "13{3} 13{2}");
  // Still open on client 2: a new transfer is refused the same way.
  ReadRegisters(2, 0, 1);
  EXPECT_EQ(Codes(outbox.Take(2)), "13{46}");
}

TEST_F(SchedulerCoreTest, VccAndProtocolErrorsFollowTheMessageBegin) {
  DeviceFaults vcc, protocol;
  vcc.vccDrop = 800;
  protocol.protocolError = true;
  BenchDevice a = bench.boards[0].devices[2], b = a;
  a.address = 0x30;
  a.faults = vcc;
  b.address = 0x31;
  b.faults = protocol;
  bench.boards[0].devices.push_back(a);
  bench.boards[0].devices.push_back(b);
  Start();
  Connect(1);
  OpenDefault(1);
  Send(1, {Configure(100000), Header(16, 0x30, 1, true), Data({0})});
  EXPECT_EQ(Codes(outbox.Take(1)), "13{30} 22 5 24{800}");
  Send(1, {Configure(100000), Header(17, 0x31, 1, true)});
  EXPECT_EQ(Codes(outbox.Take(1)), "13{30} 22 5 8");
}

TEST_F(SchedulerCoreTest, OpenAndParallelPortFaults) {
  BenchBoard refused = bench.boards[0];
  refused.info.boardNumber = 2;
  refused.faults.openRefused = true;
  BenchBoard low = bench.boards[0];
  low.info.boardNumber = 3;
  low.i2cVcc = 999;
  bench.boards = {refused, low};
  bench.scheduler.parallelPortRefused = true;
  Start();
  Connect(1);
  Send(1, {Open(2, 2), Open(3, 2), Request(9)});
  EXPECT_EQ(Codes(outbox.Take(1)), "13{2} 13{1} 24{999} 13{15}");
}

TEST_F(SchedulerCoreTest, GarbageNeverDisturbsAWellBehavedClient) {
  Start();
  Connect(1);
  Connect(2);
  OpenDefault(2);
  std::mt19937 random(1234);
  for (int i = 0; i < 20000; ++i) {
    SchedulerMessage m;
    for (auto& byte : m.bytes) byte = static_cast<std::uint8_t>(random());
    // Mostly codes the scheduler knows, with random payloads.
    m.SetCode(random() % 4 == 0 ? random() : random() % 24);
    if (m.Code() == 17 || m.Code() == 16) m.SetU32At(5, m.U32At(5) % 5000);
    core->Receive(1, m);
    outbox.sent[1].clear();
  }
  ReadRegisters(2, 0x40, 2);
  const MessageQueue answers = outbox.Take(2);
  ASSERT_FALSE(answers.empty());
  EXPECT_EQ(Codes({answers.front()}), "13{30}");
  EXPECT_EQ(answers.back().Code(), 6u);
}

}  // namespace
}  // namespace zavik::I2cSim
