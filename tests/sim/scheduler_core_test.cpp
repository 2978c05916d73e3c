#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "png_reader.h"
#include "sim/scheduler_core.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using namespace SimTest;

class RecordingOutbox : public Outbox {
 public:
  void Send(ClientId client, const SchedulerMessage& message) override { sent[client].push_back(message); }
  void Trace(const std::string& line) override { traces.push_back(line); }

  // What a client received, rendered; without the board status records that
  // any open broadcasts unless asked for.
  std::string Take(ClientId client, bool withStatus = false) {
    MessageQueue out;
    for (const SchedulerMessage& m : sent[client]) {
      const std::uint32_t code = m.Code();
      if (withStatus || (code != 10 && code != 11 && code != 12 && code != 25 && code != 26)) out.push_back(m);
    }
    sent[client].clear();
    return Render(out);
  }

  std::map<ClientId, MessageQueue> sent;
  std::vector<std::string> traces;
};

SchedulerMessage Request(std::uint32_t code, std::uint8_t b4 = 0, std::uint8_t b5 = 0) {
  SchedulerMessage m = SchedulerMessage::WithCode(code);
  m.SetByte(4, b4);
  m.SetByte(5, b5);
  return m;
}

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

// What [write {reg}, read 1] from the register file at 0x20 reports when it reads `value`.
std::string RegisterRead(std::uint8_t reg, std::uint8_t value) {
  auto bits = [](std::uint8_t byte, int ack) {
    std::string out;
    for (int bit = 7; bit >= 0; --bit) out += (byte >> bit) & 1 ? '1' : '0';
    return out + char('0' + ack);
  };
  return "13{30} 22 S 010000000 " + bits(reg, 0) + " 22 S 010000010 " + bits(value, 1) + " P";
}

class SchedulerCoreTest : public ::testing::Test {
 protected:
  void Start(ClientId clients) {
    core = std::make_unique<SchedulerCore>(bench, clock, outbox, displayDir);
    for (ClientId id = 1; id <= clients; ++id) ASSERT_TRUE(core->Connect(id).accepted);
  }

  void Send(ClientId id, std::initializer_list<SchedulerMessage> messages) {
    for (const SchedulerMessage& m : messages) core->Receive(id, m);
  }

  void OpenDefault(ClientId id) {
    Send(id, {Open(1, 2)});
    ASSERT_EQ(outbox.Take(id), "13{1} 24{3300}");
  }

  void ReadRegister(ClientId id, std::uint8_t reg, std::uint32_t bitrate = 100000) {
    Send(id, {Configure(bitrate), Header(16, 0x20, 1, false), Data({reg}), Header(17, 0x20, 1, true)});
  }

  Bench bench = DefaultBench();
  std::string displayDir;
  HandClock clock;
  RecordingOutbox outbox;
  std::unique_ptr<SchedulerCore> core;
};

TEST_F(SchedulerCoreTest, BoardListOpenCloseAndParallelPort) {
  Start(3);
  Send(1, {Request(3), Request(9, 2, 1), Request(9, 3)});  // close is always acknowledged
  EXPECT_EQ(outbox.Take(1), "13{3} 13{14} 13{15}");
  OpenDefault(1);
  outbox.Take(1, true);
  // The board list is answered also while a board is open, to the asker only.
  Send(1, {Request(0)});
  ASSERT_EQ(outbox.sent[1].size(), 2u + 3292u);
  EXPECT_EQ(outbox.sent[1].front().Code(), 19u);
  EXPECT_EQ(outbox.sent[1].back().Code(), 21u);
  outbox.sent[1].clear();
  EXPECT_EQ(outbox.Take(2, true), "");
  // An open answers the opener; status records go to everyone with the board.
  Send(2, {Open(1, 2)});
  EXPECT_EQ(outbox.Take(2, true), "13{1} 24{3300} 10 11 12 25 26");
  EXPECT_EQ(outbox.Take(1, true), "10 11 12 25 26");
  EXPECT_EQ(outbox.Take(3, true), "");
  Send(3, {Open(1, 3), Open(2, 2)});  // wrong type or number
  EXPECT_EQ(outbox.Take(3, true), "13{2} 13{2}");
  Send(1, {Request(3), Request(3)});
  EXPECT_EQ(outbox.Take(1), "13{3} 13{3}");
}

// Clients share a board: one sees what another wrote; one that leaves in the
// middle of a write changes nothing; reports go to the client that asked.
TEST_F(SchedulerCoreTest, ClientsShareABoardAndReportsGoToTheAskerOnly) {
  Start(3);
  OpenDefault(1);
  OpenDefault(2);
  OpenDefault(3);
  Send(1, {Configure(100000), Header(16, 0x20, 2, true), Data({0x07, 0x5C})});
  Send(3, {Configure(100000), Header(16, 0x20, 9, true), Data({0x03, 1, 2, 3, 4, 5, 6, 7})});
  core->Disconnect(3);
  Send(3, {Data({8})});  // a late record of a gone client is ignored
  outbox.Take(1, true);
  outbox.Take(2, true);
  ReadRegister(2, 0x07, 400000);
  EXPECT_EQ(outbox.Take(2, true), RegisterRead(0x07, 0x5C));
  EXPECT_EQ(outbox.Take(1, true), "");
  EXPECT_EQ(outbox.traces.back(), "client 2 board 1: S 20W A 07 A Sr 20R A 5C N P -> ok");
  ReadRegister(2, 0x03);
  EXPECT_EQ(outbox.Take(2), RegisterRead(0x03, 0x00));
}

TEST_F(SchedulerCoreTest, RejectedConfigurationDropsTheTransfer) {
  Start(2);
  ReadRegister(2, 0x00);  // no board open
  EXPECT_EQ(outbox.Take(2), "13{31}");
  OpenDefault(1);
  // 200 kHz is not listed; 2 MHz is not a listed high-speed rate.
  Send(1, {Configure(200000), Header(16, 0x20, 2, true), Data({0x05, 0x77})});
  Send(1, {Configure(400000, 2000000), Header(16, 0x20, 2, true), Data({0x05, 0x77})});
  EXPECT_EQ(outbox.Take(1), "13{31} 13{31}");
  ReadRegister(1, 0x05);  // nothing was written
  EXPECT_EQ(outbox.Take(1), RegisterRead(0x05, 0x00));
}

TEST_F(SchedulerCoreTest, BoardThatStopsRespondingTellsEveryoneWithItOpen) {
  bench.boards[0].faults.stopsRespondingAfter = 1;
  Start(3);
  OpenDefault(1);
  OpenDefault(2);
  ReadRegister(1, 0);
  EXPECT_EQ(outbox.Take(1), RegisterRead(0, 0));
  ReadRegister(1, 0);
  EXPECT_EQ(outbox.Take(1), "13{46}");
  EXPECT_EQ(outbox.Take(2), "13{46}");
  EXPECT_EQ(outbox.Take(3), "");
  Send(1, {Request(3), Open(1, 2)});
  EXPECT_EQ(outbox.Take(1), "13{3} 13{2}");
  ReadRegister(2, 0);  // still open on client 2: refused the same way
  EXPECT_EQ(outbox.Take(2), "13{46}");
}

TEST_F(SchedulerCoreTest, OpenAndParallelPortFaults) {
  BenchBoard refused = bench.boards[0], low = bench.boards[0];
  refused.info.boardNumber = 2;
  refused.faults.openRefused = true;
  low.info.boardNumber = 3;
  low.i2cVcc = 999;
  bench.boards = {refused, low};
  bench.scheduler.parallelPortRefused = true;
  Start(1);
  Send(1, {Open(2, 2), Open(3, 2), Request(9)});
  EXPECT_EQ(outbox.Take(1), "13{2} 13{1} 24{999} 13{15}");
}

// A 128x32 display: its picture goes to a file and, as text art, to the trace
// after each transfer that changed it, and only then.
TEST_F(SchedulerCoreTest, DisplayPicturesArePublishedWhenThePanelChanges) {
  displayDir = ::testing::TempDir() + "/display-pictures";
  std::filesystem::remove_all(displayDir);
  std::filesystem::create_directories(displayDir);
  const std::string file = displayDir + "/board1-0x3D.png";
  BenchDevice small;
  small.kind = DeviceKind::kSsd1306;
  small.address = 0x3D;
  small.ssd1306.height = 32;
  bench.boards[0].devices.push_back(small);
  Start(1);
  EXPECT_EQ(ReadPng(file), PanelImage(128, 32));  // dark from the start
  OpenDefault(1);
  auto write = [&](const std::vector<std::uint8_t>& bytes) {
    Send(1, {Configure(400000), Header(16, 0x3D, static_cast<std::uint32_t>(bytes.size()), true)});
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
      Send(1, {Data(std::vector<std::uint8_t>(bytes.begin() + i, bytes.begin() + std::min(i + 8, bytes.size())))});
    }
    outbox.Take(1);
  };
  write({0x00, 0xA8, 0x1F, 0xDA, 0x02, 0xA1, 0xC8, 0x8D, 0x14, 0xAF});  // on, but nothing to show yet
  const std::size_t quiet = outbox.traces.size();
  write({0x40, 0x01, 0x03, 0x06});
  const std::string prefix = "board 1 0x3D | ", blank(125, ' ');
  std::vector<std::string> art = {prefix + "\u2580\u2588\u2584" + blank, prefix + "  \u2580" + blank};
  art.resize(16, prefix + std::string(128, ' '));
  ASSERT_EQ(outbox.traces.size(), quiet + 1 + 16);
  EXPECT_EQ(outbox.traces[quiet], "client 1 board 1: S 3DW A 40 A 01 A 03 A 06 A P -> ok");
  EXPECT_EQ(std::vector<std::string>(outbox.traces.begin() + quiet + 1, outbox.traces.end()), art);
  PanelImage expected(128, 32);
  for (const auto& [x, y] : std::vector<std::pair<int, int>>{{0, 0}, {1, 0}, {1, 1}, {2, 1}, {2, 2}}) {
    expected.Set(x, y, true);
  }
  EXPECT_EQ(ReadPng(file), expected);
  EXPECT_FALSE(std::filesystem::exists(file + ".tmp"));
  write({0x00, 0x81, 0x10});  // contrast: the same picture
  EXPECT_EQ(outbox.traces.size(), quiet + 1 + 16 + 1);
}

TEST_F(SchedulerCoreTest, GarbageNeverDisturbsAWellBehavedClient) {
  Start(2);
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
  // Whatever the garbage wrote into register 0x40, reading it runs in full.
  ReadRegister(2, 0x40);
  const std::string answer = outbox.Take(2), expected = RegisterRead(0x40, 0x00);
  ASSERT_EQ(answer.size(), expected.size()) << answer;
  EXPECT_EQ(answer.substr(0, answer.size() - 12), expected.substr(0, expected.size() - 12));
}

}  // namespace
}  // namespace zavik::I2cSim
