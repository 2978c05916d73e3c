// The board client over in-memory links: against the simulated scheduler
// where it can produce the case, against a script for records at odd moments,
// broken lists and stray acknowledgements. Covers the greeting, the dispatch
// of batches, enumeration, open, close, the parallel port, the "board does
// not respond" path and a connection that breaks.

#include "api/board_client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "api/exceptions.h"
#include "api/master_module.h"
#include "board_entry_bytes.h"
#include "scheduler_link/message_codes.h"
#include "scripted_scheduler.h"
#include "sim/in_process_scheduler.h"

namespace zavik::I2cApi {
namespace {

using namespace Testing;
using namespace I2cScheduler::ToScheduler;
using namespace I2cScheduler::Acknowledgement;
using I2cScheduler::FromScheduler::kBoardListEnd;
using I2cScheduler::FromScheduler::kI2cVcc;
using I2cSim::InProcessScheduler;

// What the probes in module slots 1, 2 and 4 saw, in call order.
struct DispatchLog {
  struct Call {
    int slot;
    std::vector<std::uint32_t> codes;
    bool boardOpen;
  };
  std::vector<Call> calls;
  std::vector<std::string> hooks;

  bool Saw(std::uint32_t code) const {
    return std::any_of(calls.begin(), calls.end(), [code](const Call& c) {
      return std::find(c.codes.begin(), c.codes.end(), code) != c.codes.end();
    });
  }
};

class Probe : public BoardModule {
 public:
  Probe(int slot, DispatchLog& log, const CBoardClient& client) : slot_(slot), log_(log), client_(client) {}
  void HandleMessages(const MessageQueue& batch) override {
    std::vector<std::uint32_t> codes;
    for (const SchedulerMessage& m : batch) codes.push_back(m.Code());
    if (!codes.empty()) log_.calls.push_back({slot_, codes, client_.IsBoardOpen()});
  }
  void OnBoardOpened() override { log_.hooks.push_back("open " + std::to_string(slot_)); }
  void OnBoardClosed() override { log_.hooks.push_back("close " + std::to_string(slot_)); }

 private:
  int slot_;
  DispatchLog& log_;
  const CBoardClient& client_;
};

constexpr std::int32_t kPass = 50000;

// A client over the link with probes in slots 1, 2 and 4.
struct Probed {
  explicit Probed(I2cScheduler::SchedulerLink link) : client(std::move(link)) {
    for (int slot : {1, 2, 4}) client.ReplaceModule(slot, std::make_unique<Probe>(slot, log, client));
  }
  // Waits in short passes until the probes have seen the code.
  void WaitUntilSeen(std::uint32_t code) {
    for (int pass = 0; pass < 10 && !log.Saw(code); ++pass) client.WaitForMessages(kPass);
    EXPECT_TRUE(log.Saw(code)) << "code " << code << " never arrived";
  }
  std::vector<BoardInfo> Enumerate() {
    std::vector<BoardInfo> boards;
    client.EnumerateBoards(boards);
    return boards;
  }
  DispatchLog log;  // outlives the client
  CBoardClient client;
};

const std::vector<std::string> kOpenHooks{"open 1", "open 2", "open 4"};
const std::vector<std::uint8_t> kTwoBoards =
    Concatenate({EntryBytes::Board("first", 1, 2), EntryBytes::Board("second", 258, 3)});

// The list, with more records in the same batch when given.
ScriptedScheduler& ListAnswered(ScriptedScheduler& s, const std::vector<std::uint8_t>& stream = kTwoBoards,
                                const Records& more = {}) {
  return s.Answer(kBoardListRequest, BoardListRecords(stream) + more);
}
// Greeting, board list, open: the client enumerates and opens the first board.
ScriptedScheduler& OpenAnswered(ScriptedScheduler& s) {
  return ListAnswered(s.Send({Greeting()})).Answer(kOpenBoard, {Status(kOpened), Vcc(3300)});
}

// Two boards: 1 type 2 and 258 type 3.
I2cSim::Bench TwoBoards() {
  I2cSim::Bench bench = I2cSim::DefaultBench();
  bench.boards.push_back(bench.boards[0]);
  bench.boards[1].info.name = "second";
  bench.boards[1].info.boardNumber = 258;
  bench.boards[1].info.boardType = 3;
  return bench;
}

BoardInfo Board(std::uint16_t number, std::uint32_t type) {
  BoardInfo board;
  board.boardNumber = number;
  board.boardType = type;
  return board;
}

// The texts of the refusals are shown end to end through UrdOpen.
TEST(BoardClientGreeting, MajorAndMinorMustBe16BusyFlagMustNotBe1) {
  enum Outcome { kAccepted, kWrongVersion, kBusy };
  const std::vector<std::pair<SchedulerMessage, Outcome>> cases{
      {Greeting(1, 6, 0, 2), kAccepted},  // byte 8 other than 1 is not busy
      {Greeting(1, 6, 255), kAccepted},   {Greeting(1, 5, 9), kWrongVersion},
      {Greeting(1, 7, 0), kWrongVersion}, {Greeting(2, 6, 0), kWrongVersion},
      {Greeting(1, 6, 0, 1), kBusy},
  };
  for (const auto& [greeting, outcome] : cases) {
    ScriptedScheduler s;  // sends nothing more: the client must send nothing either
    s.Send({greeting});
    Outcome seen = kAccepted;
    try {
      CBoardClient client(s.Connect());
    } catch (const Cpp::CExceptionSchedulerVersion&) {
      seen = kWrongVersion;
    } catch (const Cpp::CExceptionSchedulerBusy&) {
      seen = kBusy;
    }
    EXPECT_EQ(seen, outcome) << "version " << int(greeting.Byte(4)) << "." << int(greeting.Byte(5));
  }
}

TEST(BoardClientGreeting, ClosedBeforeItOrLateWithRecordsThatAreDropped) {
  ScriptedScheduler closes;
  closes.Hangup();
  EXPECT_THROW(CBoardClient client(closes.Connect()), Cpp::CExceptionIo);

  ScriptedScheduler late;
  late.Pause().Send({Greeting(), Status(kBoardLost), Record(kBoardListEnd)}).Pause();
  CBoardClient client(late.Connect());
  EXPECT_NO_THROW(client.WaitForMessages(kPass)) << "the 46 must have gone with the greeting";
}

TEST(BoardClientGreeting, SchedulerBusyBeyondItsClientLimit) {
  I2cSim::Bench bench = I2cSim::DefaultBench();
  bench.scheduler.maxClients = 1;
  InProcessScheduler sim(bench);
  auto first = std::make_unique<CBoardClient>(sim.Connect());
  EXPECT_THROW(CBoardClient second(sim.Connect()), Cpp::CExceptionSchedulerBusy);
  first.reset();
  EXPECT_NO_THROW(CBoardClient third(sim.Connect())) << "a closed client frees its place";
}

TEST(BoardClientDispatch, EveryBatchReachesTheModulesInSlotOrder) {
  ScriptedScheduler s;
  Probed c(s.Send({Greeting()}).Connect());
  s.Send({Record(5), Record(7), Record(99), Status(30)});
  c.client.WaitForMessages(kPass);
  ASSERT_EQ(c.log.calls.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(c.log.calls[i].codes, (std::vector<std::uint32_t>{5, 7, 99, 13}));
    EXPECT_EQ(c.log.calls[i].slot, i == 2 ? 4 : static_cast<int>(i) + 1);
  }
}

TEST(BoardClientDispatch, BoardLostWithoutOpenBoardSendsNothingAndStopsTheBatch) {
  ScriptedScheduler s;
  Probed c(s.Send({Greeting()}).Connect());
  s.Send({Status(kBoardLost), Record(5)});
  EXPECT_THROW(c.client.WaitForMessages(kPass), Cpp::CExceptionHardwareIo);
  EXPECT_TRUE(c.log.calls.empty()) << "modules after the status handler must not see that batch";
  s.Answer(kParallelPort, {Status(kPortDone), Record(6)});  // no close request before it
  c.client.SetParallelPort(0, true);
  EXPECT_TRUE(c.log.Saw(6));
  EXPECT_FALSE(c.log.Saw(5));
}

TEST(BoardClientDispatch, BoardLostWithOpenBoardClosesItFromInsideThePoll) {
  ScriptedScheduler s;
  Probed c(OpenAnswered(s).Connect());
  c.client.OpenBoard(c.Enumerate().at(0));
  c.log = {};
  s.Send({Status(kBoardLost), Vcc(1)}).Answer(kCloseBoard, {Status(kClosed)});
  EXPECT_THROW(c.client.WaitForMessages(kPass), Cpp::CExceptionHardwareIo);
  EXPECT_FALSE(c.client.IsBoardOpen());
  EXPECT_EQ(c.log.hooks, (std::vector<std::string>{"close 1", "close 2", "close 4"}));
  EXPECT_FALSE(c.log.Saw(kI2cVcc)) << "saw the lost batch";
}

TEST(BoardClientDispatch, ListHandlerTakesTheListBeforeTheStatusHandlerThrows) {
  ScriptedScheduler s;
  ListAnswered(s.Send({Greeting()}), kTwoBoards, {Status(kBoardLost)});
  CBoardClient client(s.Connect());
  std::vector<BoardInfo> boards;
  EXPECT_THROW(client.EnumerateBoards(boards), Cpp::CExceptionHardwareIo);
  EXPECT_TRUE(boards.empty());
  s.Answer(kOpenBoard, {Status(kOpened), Vcc(3300)}).Answer(kCloseBoard, {Status(kClosed)});
  client.OpenBoard(Board(258, 3));  // no second list request: the list was kept
  EXPECT_EQ(client.GetOpenedBoardInfo().name, "second");
}

TEST(BoardClientEnumeration, ListInSmallPiecesKeepsStreamOrder) {
  I2cSim::Bench bench = TwoBoards();
  bench.scheduler.outputChunkBytes = 7;  // every piece its own read, records cut anywhere
  InProcessScheduler sim(bench);
  Probed c(sim.Connect());
  const std::vector<BoardInfo> boards = c.Enumerate();
  ASSERT_EQ(boards.size(), 2u);
  EXPECT_EQ(boards[0].name, "Sim I2C Board");
  EXPECT_EQ(boards[1].name, "second");
  EXPECT_EQ(boards[1].boardNumber, 258);
  EXPECT_EQ(boards[1].bitrates, bench.boards[0].info.bitrates);
  EXPECT_GT(c.log.calls.size(), 3 * 1000u) << "the list did not come in small batches";
}

TEST(BoardClientEnumeration, IncompleteOrAbsentEntriesGiveNoBoard) {
  const std::vector<std::uint8_t> shortOfAnEntry(kBoardEntrySize / 9 * 9, 1);  // no padding completes it
  ScriptedScheduler s;
  ListAnswered(ListAnswered(s.Send({Greeting()}), {}), shortOfAnEntry);
  s.Answer(kBoardListRequest, BoardListRecords(kTwoBoards, 2 * kBoardEntrySize + 1000));  // more announced than sent
  ListAnswered(s);
  Probed c(s.Connect());
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(c.Enumerate().empty()) << i;
  EXPECT_EQ(c.Enumerate().size(), 2u) << "leftover bytes of earlier lists must not linger";
}

TEST(BoardClientEnumeration, ListRecordsWhileNotEnumeratingChangeNothing) {
  ScriptedScheduler s;
  Probed c(s.Send({Greeting()}).Connect());
  s.Send(BoardListRecords(kTwoBoards) + Records{Record(99)});
  c.WaitUntilSeen(99);
  // The unasked list was ignored, so the opened board is looked up afresh.
  s.Answer(kOpenBoard, {Status(kOpened), Vcc(3300)});
  ListAnswered(s, Concatenate({EntryBytes::Board("refreshed", 1, 2)})).Answer(kCloseBoard, {Status(kClosed)});
  c.client.OpenBoard(Board(1, 2));
  EXPECT_EQ(c.client.GetOpenedBoardInfo().name, "refreshed");
}

TEST(BoardClientOpen, RequestCarriesNumberLittleEndianAndTypeByte) {
  ScriptedScheduler s;
  ListAnswered(s.Send({Greeting()})).Expect(kOpenBoard, {2, 1, 3}).Send({Vcc(3300), Status(kOpened)});
  s.Answer(kCloseBoard, {Status(kClosed)});
  Probed c(s.Connect());
  c.client.OpenBoard(c.Enumerate().at(1));
  EXPECT_TRUE(c.client.IsBoardOpen());
  EXPECT_EQ(c.client.GetI2cVcc(), 3300);
  EXPECT_EQ(c.log.hooks, kOpenHooks);
  c.client.CloseBoard();
  EXPECT_FALSE(c.client.IsBoardOpen());
  ASSERT_FALSE(c.log.calls.empty());
  EXPECT_FALSE(c.log.calls.back().boardOpen) << "boardOpen is cleared before the close request leaves";
}

TEST(BoardClientOpen, VccReportCountsOnlyAfterTheRequest) {
  ScriptedScheduler s;
  ListAnswered(s.Send({Greeting()}), kTwoBoards, {Vcc(1800)});  // before the request: does not count
  s.Answer(kOpenBoard, {Status(kOpened)}).Pause().Send({Vcc(3300)});  // the client waits for a Vcc report
  s.Answer(kCloseBoard, {Status(kClosed)});
  s.Answer(kOpenBoard, {Vcc(2500)}).Send({Status(kOpened)});  // after the request, before the acknowledgement
  s.Answer(kCloseBoard, {Status(kClosed)});
  Probed c(s.Connect());
  const std::vector<BoardInfo> boards = c.Enumerate();
  for (int vcc : {3300, 2500}) {
    c.client.OpenBoard(boards.at(0));
    EXPECT_EQ(c.client.GetI2cVcc(), vcc);
    c.client.CloseBoard();
  }
}

TEST(BoardClientOpen, StrayAcknowledgementsAreNotQueuedAndUnawaitedOnesAreDropped) {
  ScriptedScheduler s;
  ListAnswered(s.Send({Greeting()}), kTwoBoards, {Status(kOpened)});  // nobody collects: must not count below
  s.Answer(kOpenBoard, {Vcc(3300), Status(kOpenRefused)});
  s.Answer(kOpenBoard, {Status(kClosed), Status(kPortDone), Status(77), Vcc(3300), Status(kOpened)});
  s.Answer(kParallelPort, {Status(kOpened), Status(kClosed), Status(kPortRefused)});
  s.Answer(kCloseBoard, {Status(kPortDone), Status(kClosed)});
  Probed c(s.Connect());
  const std::vector<BoardInfo> boards = c.Enumerate();
  EXPECT_THROW(c.client.OpenBoard(boards.at(0)), Cpp::CExceptionOpen);
  EXPECT_FALSE(c.client.IsBoardOpen());
  c.client.OpenBoard(boards.at(0));
  EXPECT_TRUE(c.client.IsBoardOpen());
  EXPECT_THROW(c.client.SetParallelPort(1, false), Cpp::CExceptionParallelPort);
  c.client.CloseBoard();
  EXPECT_FALSE(c.client.IsBoardOpen());
}

std::vector<std::uint32_t> Codes(const std::vector<SchedulerMessage>& records) {
  std::vector<std::uint32_t> codes;
  for (const SchedulerMessage& r : records) codes.push_back(r.Code());
  return codes;
}

TEST(BoardClientOpen, SameBoardSendsNothingOtherBoardClosesFirst) {
  InProcessScheduler sim(TwoBoards());
  DispatchLog log;
  {
    Probed c(sim.Connect());
    const std::vector<BoardInfo> boards = c.Enumerate();
    c.client.OpenBoard(boards.at(0));
    c.client.OpenBoard(boards.at(0));
    EXPECT_EQ(c.log.hooks, kOpenHooks) << "no hook for the board that is already open";
    c.client.OpenBoard(boards.at(1));
    EXPECT_EQ(c.log.hooks, (std::vector<std::string>{"open 1", "open 2", "open 4", "close 1", "close 2", "close 4",
                                                     "open 1", "open 2", "open 4"}));
    EXPECT_EQ(c.client.GetOpenedBoardInfo().boardNumber, 258);
    log = c.log;
  }  // destruction closes the board, without hooks
  EXPECT_EQ(Codes(sim.Received(1)), (std::vector<std::uint32_t>{kBoardListRequest, kOpenBoard, kCloseBoard,
                                                                 kOpenBoard, kCloseBoard}));
  EXPECT_EQ(log.hooks.size(), 9u);
}

TEST(BoardClientOpen, VersionCheckComparesSharedLabelsInMapOrder) {
  BoardInfo board;
  board.installedVersions["firmware"] = {1, 2, 4};
  board.requiredVersions["firmware"] = {1, 2, 4};
  board.installedVersions["driver"] = {0, 0, 1};             // no requirement
  board.requiredVersions["FPGA configuration"] = {9, 9, 9};  // nothing installed
  EXPECT_NO_THROW(CBoardClient::CheckBoardVersions(board));
  board.installedVersions["firmware"] = {1, 1, 255};
  board.installedVersions["FPGA configuration"] = {9, 8, 10};
  try {
    CBoardClient::CheckBoardVersions(board);
    ADD_FAILURE() << "passed";
  } catch (const Cpp::CExceptionDriverVersion& e) {
    EXPECT_EQ(e.GetText().find("Wrong version of the board's FPGA configuration."), 0u) << e.GetText();
  }
}

TEST(BoardClientParallelPort, PortRangeAndRequestBytesAndNothingToClose) {
  ScriptedScheduler s;
  s.Send({Greeting()}).Expect(kParallelPort, {0, 1}).Send({Status(kPortDone)});
  s.Expect(kParallelPort, {2, 0}).Send({Status(kPortRefused)});
  CBoardClient client(s.Connect());
  client.CloseBoard();  // no board open: sends nothing, the first record is the port command
  EXPECT_THROW(client.SetParallelPort(3, true), Cpp::CExceptionParallelPort);
  EXPECT_THROW(client.SetParallelPort(-1, true), Cpp::CExceptionParallelPort);
  EXPECT_NO_THROW(client.SetParallelPort(0, true));
  EXPECT_THROW(client.SetParallelPort(2, false), Cpp::CExceptionParallelPort);
}

// A scheduler that closes the connection once it has answered the list and
// the open request.
I2cSim::Bench LeavesAfterTheOpen() {
  I2cSim::Bench bench = I2cSim::DefaultBench();
  bench.scheduler.closeAfterMessages = 2;
  return bench;
}

TEST(BoardClientBroken, ConnectionLostWhileOpenLeavesNoBoard) {
  InProcessScheduler sim(LeavesAfterTheOpen());
  Probed c(sim.Connect());
  c.client.OpenBoard(c.Enumerate().at(0));
  EXPECT_THROW(c.client.WaitForMessages(kPass), Cpp::CExceptionIo);
  EXPECT_FALSE(c.client.IsBoardOpen());
  // Operations that need only an open board.
  EXPECT_THROW(c.client.GetOpenedBoardInfo(), Cpp::CExceptionDeviceOpen);
  EXPECT_THROW(c.client.GetI2cVcc(), Cpp::CExceptionDeviceOpen);
  EXPECT_THROW(c.client.GetMasterModule()->SetBitrate(100000), Cpp::CExceptionDeviceOpen);
  EXPECT_NO_THROW(c.client.CloseBoard());
  // Operations that touch the channel.
  std::vector<BoardInfo> boards;
  EXPECT_THROW(c.client.EnumerateBoards(boards), Cpp::CExceptionIo);
  EXPECT_THROW(c.client.EnumerateBoards(boards), Cpp::CExceptionIo) << "a failed send leaves enumerating set";
  EXPECT_THROW(c.client.SetParallelPort(0, true), Cpp::CExceptionIo);
  EXPECT_THROW(c.client.OpenBoard(BoardInfo{}), Cpp::CExceptionIo);
  EXPECT_THROW(c.client.Poll(), Cpp::CExceptionIo);
  EXPECT_THROW(c.client.FlushSend(), Cpp::CExceptionIo);
}

TEST(BoardClientBroken, DestructionWithOpenBoardAndSchedulerGoneDoesNotThrow) {
  InProcessScheduler sim(LeavesAfterTheOpen());
  auto client = std::make_unique<CBoardClient>(sim.Connect());
  std::vector<BoardInfo> boards;
  client->EnumerateBoards(boards);
  client->OpenBoard(boards.at(0));
  EXPECT_TRUE(client->IsBoardOpen()) << "nothing has noticed the break yet";
  EXPECT_NO_THROW(client.reset());
}

TEST(BoardClientBroken, AWaitThatCanNeverEndFailsInsteadOfHanging) {
  InProcessScheduler sim;
  CBoardClient client(sim.Connect());
  EXPECT_THROW(for (;;) client.WaitForMessages(kAnswerPassMicroseconds), Cpp::CExceptionIo);
  EXPECT_TRUE(sim.Stalled());
  EXPECT_GT(sim.Clock().NowMicros(), InProcessScheduler::kStallMicros) << "each wait advances the clock";
}

}  // namespace
}  // namespace zavik::I2cApi
