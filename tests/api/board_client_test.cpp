// The board client against a scripted scheduler on an ephemeral port: the
// greeting, the dispatch of batches, enumeration, open, close, the parallel
// port, the "board does not respond" path and a connection that breaks.

#include "api/board_client.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "api/exceptions.h"
#include "api/master_module.h"
#include "scheduler_link/message_codes.h"
#include "scripted_peer.h"

namespace zavik::I2cApi {
namespace {

using namespace Testing;
using namespace I2cScheduler::ToScheduler;
using namespace I2cScheduler::Acknowledgement;
using I2cScheduler::FromScheduler::kBoardListEnd;
using I2cScheduler::FromScheduler::kI2cVcc;

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
    for (const Call& c : calls)
      if (std::find(c.codes.begin(), c.codes.end(), code) != c.codes.end()) return true;
    return false;
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

void AttachProbes(CBoardClient& client, DispatchLog& log) {
  for (int slot : {1, 2, 4}) client.ReplaceModule(slot, std::make_unique<Probe>(slot, log, client));
}

// A client on the peer's port with probes in slots 1, 2 and 4.
struct Probed {
  explicit Probed(std::uint16_t port) : client(port) { AttachProbes(client, log); }
  // Polls in short passes until the probes have seen the code.
  void WaitUntilSeen(std::uint32_t code) {
    for (int pass = 0; pass < 100 && !log.Saw(code); ++pass) client.WaitForMessages(50000);
    ASSERT_TRUE(log.Saw(code)) << "code " << code << " never arrived";
  }
  std::vector<BoardInfo> Enumerate() {
    std::vector<BoardInfo> boards;
    client.EnumerateBoards(boards);
    return boards;
  }
  DispatchLog log;  // outlives the client
  CBoardClient client;
};

const std::vector<std::uint8_t> kTwoBoards =
    Concatenate({EntryBytes::Board("first", 1, 2), EntryBytes::Board("second", 258, 3)});

void Answer(PeerConnection& p, std::uint32_t request, std::initializer_list<SchedulerMessage> reply) {
  p.Expect(request);
  p.Send(reply);
}
void AnswerList(PeerConnection& p, const std::vector<std::uint8_t>& stream = kTwoBoards) {
  p.Expect(kBoardListRequest);
  p.Send(BoardListRecords(stream));
}
void AnswerOpen(PeerConnection& p) { Answer(p, kOpenBoard, {Status(kOpened), Vcc(3300)}); }
void AnswerClose(PeerConnection& p) { Answer(p, kCloseBoard, {Status(kClosed)}); }
void AnswerPort(PeerConnection& p) { Answer(p, kParallelPort, {Status(kPortDone)}); }

BoardInfo Board(std::uint16_t number, std::uint32_t type) {
  BoardInfo board;
  board.boardNumber = number;
  board.boardType = type;
  return board;
}

// The texts of the refusals are shown end to end through UrdOpen.
TEST(BoardClientGreeting, VersionBuildAndBusyFlag) {
  enum Outcome { kAccepted, kWrongVersion, kBusy };
  const std::vector<std::pair<SchedulerMessage, Outcome>> cases{
      {Greeting(1, 6, 0, 2), kAccepted},  // byte 8 other than 1 is not busy
      {Greeting(1, 6, 255), kAccepted},     {Greeting(1, 5, 9), kWrongVersion},
      {Greeting(2, 6, 0), kWrongVersion},   {Greeting(1, 6, 0, 1), kBusy},
  };
  for (const auto& [greeting, outcome] : cases) {
    ScriptedPeer peer([&greeting](PeerConnection& p) {
      p.Send({greeting});
      EXPECT_TRUE(p.ReceiveUntilClosed().empty()) << "nothing is sent after the greeting";
    });
    Outcome seen = kAccepted;
    try {
      CBoardClient client(peer.Port());
    } catch (const Cpp::CExceptionSchedulerVersion&) {
      seen = kWrongVersion;
    } catch (const Cpp::CExceptionSchedulerBusy&) {
      seen = kBusy;
    }
    EXPECT_EQ(seen, outcome) << "version " << int(greeting.Byte(4)) << "." << int(greeting.Byte(5));
  }
}

TEST(BoardClientGreeting, MissingOrLateScheduler) {
  EXPECT_THROW(CBoardClient client(UnusedPort()), Cpp::CExceptionIo);
  ScriptedPeer closesAtOnce([](PeerConnection&) {});
  EXPECT_THROW(CBoardClient client(closesAtOnce.Port()), Cpp::CExceptionIo);
  ScriptedPeer late([](PeerConnection& p) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // more than one waiting pass
    p.Send({Greeting(), Status(kBoardLost), Record(kBoardListEnd)});
    p.ReceiveUntilClosed();
  });
  CBoardClient client(late.Port());
  EXPECT_NO_THROW(client.WaitForMessages(100000)) << "the 46 must have gone with the greeting";
}

TEST(BoardClientDispatch, EveryBatchReachesTheModulesInSlotOrder) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.AwaitClient();
    p.Send({Record(5), Record(7), Record(99), Status(30)});
    p.ReceiveUntilClosed();
  });
  Probed c(peer.Port());
  peer.ClientReady();
  c.WaitUntilSeen(99);
  ASSERT_EQ(c.log.calls.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(c.log.calls[i].codes, (std::vector<std::uint32_t>{5, 7, 99, 13}));
    EXPECT_EQ(c.log.calls[i].slot, i == 2 ? 4 : static_cast<int>(i) + 1);
  }
}

TEST(BoardClientDispatch, BoardLostWithoutOpenBoardSendsNothingAndStopsTheBatch) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.AwaitClient();
    p.Send({Status(kBoardLost), Record(5)});
    AnswerPort(p);  // the first record the client sends: no close request before it
    p.Send({Record(6)});
    p.ReceiveUntilClosed();
  });
  Probed c(peer.Port());
  peer.ClientReady();
  EXPECT_THROW(for (int pass = 0; pass < 100; ++pass) c.client.WaitForMessages(50000), Cpp::CExceptionHardwareIo);
  EXPECT_TRUE(c.log.calls.empty()) << "modules after the status handler must not see that batch";
  c.client.SetParallelPort(0, true);
  c.WaitUntilSeen(6);
  EXPECT_FALSE(c.log.Saw(5));
}

TEST(BoardClientDispatch, BoardLostWithOpenBoardClosesItFromInsideThePoll) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    AnswerOpen(p);
    p.Send({Status(kBoardLost), Vcc(1)});
    AnswerClose(p);
    EXPECT_TRUE(p.ReceiveUntilClosed().empty()) << "the board was closed already";
  });
  Probed c(peer.Port());
  c.client.OpenBoard(c.Enumerate().at(0));
  c.log = {};
  EXPECT_THROW(for (int pass = 0; pass < 100; ++pass) c.client.WaitForMessages(50000), Cpp::CExceptionHardwareIo);
  EXPECT_FALSE(c.client.IsBoardOpen());
  EXPECT_EQ(c.log.hooks, (std::vector<std::string>{"close 1", "close 2", "close 4"}));
  EXPECT_FALSE(c.log.Saw(kI2cVcc)) << "saw the lost batch";
}

TEST(BoardClientDispatch, ListHandlerTakesTheListBeforeTheStatusHandlerThrows) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.Expect(kBoardListRequest);
    std::vector<SchedulerMessage> records = BoardListRecords(kTwoBoards);
    records.push_back(Status(kBoardLost));
    p.Send(records);
    AnswerOpen(p);  // no second list request: the list was kept
    AnswerClose(p);
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  std::vector<BoardInfo> boards;
  EXPECT_THROW(client.EnumerateBoards(boards), Cpp::CExceptionHardwareIo);
  EXPECT_TRUE(boards.empty());
  client.OpenBoard(Board(258, 3));
  EXPECT_EQ(client.GetOpenedBoardInfo().name, "second");
}

TEST(BoardClientEnumeration, ListInManySmallPiecesKeepsStreamOrder) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.Expect(kBoardListRequest);
    std::vector<std::uint8_t> bytes;
    for (const SchedulerMessage& m : BoardListRecords(kTwoBoards)) bytes.insert(bytes.end(), m.bytes, m.bytes + 13);
    // Pieces of 1 to 40 bytes cut records anywhere; pauses split the batches.
    for (std::size_t at = 0, piece = 0, n = 0; at < bytes.size(); at += n, ++piece) {
      n = std::min<std::size_t>(1 + (piece * 7) % 40, bytes.size() - at);
      p.SendBytes(bytes.data() + at, n);
      if (piece % 200 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    p.ReceiveUntilClosed();
  });
  Probed c(peer.Port());
  const std::vector<BoardInfo> boards = c.Enumerate();
  ASSERT_EQ(boards.size(), 2u);
  EXPECT_EQ(boards[0].name, "first");
  EXPECT_EQ(boards[1].name, "second");
  EXPECT_EQ(boards[1].boardNumber, 258);
  EXPECT_EQ(boards[1].bitrates, std::vector<std::uint32_t>{100000});
}

TEST(BoardClientEnumeration, IncompleteOrAbsentEntriesGiveNoBoard) {
  const std::vector<std::uint8_t> shortOfAnEntry(kBoardEntrySize / 9 * 9, 1);  // no padding completes it
  ScriptedPeer peer([&](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p, {});
    AnswerList(p, shortOfAnEntry);
    p.Expect(kBoardListRequest);
    p.Send(BoardListRecords(kTwoBoards, 2 * kBoardEntrySize + 1000));  // more announced than sent
    AnswerList(p);
    p.ReceiveUntilClosed();
  });
  Probed c(peer.Port());
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(c.Enumerate().empty()) << i;
  EXPECT_EQ(c.Enumerate().size(), 2u) << "leftover bytes of earlier lists must not linger";
}

TEST(BoardClientEnumeration, ListRecordsWhileNotEnumeratingChangeNothing) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.AwaitClient();
    p.Send(BoardListRecords(kTwoBoards));  // unasked
    p.Send({Record(99)});
    AnswerOpen(p);
    // The unasked list was ignored, so the opened board is looked up afresh.
    AnswerList(p, Concatenate({EntryBytes::Board("refreshed", 1, 2)}));
    AnswerClose(p);
    p.ReceiveUntilClosed();
  });
  Probed c(peer.Port());
  peer.ClientReady();
  c.WaitUntilSeen(99);
  c.client.OpenBoard(Board(1, 2));
  EXPECT_EQ(c.client.GetOpenedBoardInfo().name, "refreshed");
}

TEST(BoardClientOpen, RequestCarriesNumberLittleEndianAndTypeByte) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    const SchedulerMessage request = p.Expect(kOpenBoard);
    EXPECT_EQ(request.Byte(4), 2);
    EXPECT_EQ(request.Byte(5), 1);
    EXPECT_EQ(request.Byte(6), 3);
    p.Send({Vcc(3300), Status(kOpened)});
    AnswerClose(p);
    p.ReceiveUntilClosed();
  });
  Probed c(peer.Port());
  c.client.OpenBoard(c.Enumerate().at(1));
  EXPECT_TRUE(c.client.IsBoardOpen());
  EXPECT_EQ(c.client.GetI2cVcc(), 3300);
  EXPECT_EQ(c.log.hooks, (std::vector<std::string>{"open 1", "open 2", "open 4"}));
  c.client.CloseBoard();
  EXPECT_FALSE(c.client.IsBoardOpen());
  ASSERT_FALSE(c.log.calls.empty());
  EXPECT_FALSE(c.log.calls.back().boardOpen) << "boardOpen is cleared before the close request leaves";
}

TEST(BoardClientOpen, VccReportCountsOnlyAfterTheRequest) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    p.Send({Vcc(1800)});  // before the request: does not count
    Answer(p, kOpenBoard, {Status(kOpened)});
    p.ExpectSilence(300);  // the client still waits for a Vcc report
    p.Send({Vcc(3300)});
    AnswerPort(p);
    AnswerClose(p);
    Answer(p, kOpenBoard, {Vcc(2500)});  // after the request, before the acknowledgement: counts
    p.Send({Status(kOpened)});
    AnswerPort(p);
    AnswerClose(p);
    p.ReceiveUntilClosed();
  });
  Probed c(peer.Port());
  const std::vector<BoardInfo> boards = c.Enumerate();
  c.WaitUntilSeen(kI2cVcc);
  for (int vcc : {3300, 2500}) {
    c.client.OpenBoard(boards.at(0));
    EXPECT_EQ(c.client.GetI2cVcc(), vcc);
    c.client.SetParallelPort(0, true);  // the peer has seen everything the open sent
    c.client.CloseBoard();
  }
}

TEST(BoardClientOpen, StrayAcknowledgementsAreNotQueuedAndUnawaitedOnesAreDropped) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    p.Send({Status(kOpened), Record(99)});  // nobody collects: must not count for the open below
    Answer(p, kOpenBoard, {Vcc(3300), Status(kOpenRefused)});
    Answer(p, kOpenBoard, {Status(kClosed), Status(kPortDone), Status(77), Vcc(3300), Status(kOpened)});
    Answer(p, kParallelPort, {Status(kOpened), Status(kClosed), Status(kPortRefused)});
    Answer(p, kCloseBoard, {Status(kPortDone), Status(kClosed)});
    p.ReceiveUntilClosed();
  });
  Probed c(peer.Port());
  const std::vector<BoardInfo> boards = c.Enumerate();
  c.WaitUntilSeen(99);
  EXPECT_THROW(c.client.OpenBoard(boards.at(0)), Cpp::CExceptionOpen);
  EXPECT_FALSE(c.client.IsBoardOpen());
  c.client.OpenBoard(boards.at(0));
  EXPECT_TRUE(c.client.IsBoardOpen());
  EXPECT_THROW(c.client.SetParallelPort(1, false), Cpp::CExceptionParallelPort);
  c.client.CloseBoard();
  EXPECT_FALSE(c.client.IsBoardOpen());
}

TEST(BoardClientOpen, SameBoardSendsNothingOtherBoardClosesFirst) {
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    AnswerOpen(p);
    AnswerClose(p);  // the first thing after the repeated open of the same board
    AnswerOpen(p);
    AnswerClose(p);  // destruction
    p.ReceiveUntilClosed();
  });
  DispatchLog log;
  auto client = std::make_unique<CBoardClient>(peer.Port());
  AttachProbes(*client, log);
  std::vector<BoardInfo> boards;
  client->EnumerateBoards(boards);
  client->OpenBoard(boards.at(0));
  client->OpenBoard(boards.at(0));
  EXPECT_EQ(log.hooks.size(), 3u) << "no hook for the board that is already open";
  client->OpenBoard(boards.at(1));
  EXPECT_EQ(log.hooks, (std::vector<std::string>{"open 1", "open 2", "open 4", "close 1", "close 2", "close 4",
                                                 "open 1", "open 2", "open 4"}));
  EXPECT_EQ(client->GetOpenedBoardInfo().boardNumber, 258);
  client.reset();  // closes the board, without hooks
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
  ScriptedPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    SchedulerMessage request = p.Expect(kParallelPort);
    EXPECT_EQ(request.Byte(4), 0);
    EXPECT_EQ(request.Byte(5), 1);
    p.Send({Status(kPortDone)});
    request = p.Expect(kParallelPort);
    EXPECT_EQ(request.Byte(4), 2);
    EXPECT_EQ(request.Byte(5), 0);
    p.Send({Status(kPortRefused)});
    EXPECT_TRUE(p.ReceiveUntilClosed().empty());
  });
  CBoardClient client(peer.Port());
  client.CloseBoard();  // no board open: sends nothing, the first record is the port command
  EXPECT_THROW(client.SetParallelPort(3, true), Cpp::CExceptionParallelPort);
  EXPECT_THROW(client.SetParallelPort(-1, true), Cpp::CExceptionParallelPort);
  EXPECT_NO_THROW(client.SetParallelPort(0, true));
  EXPECT_THROW(client.SetParallelPort(2, false), Cpp::CExceptionParallelPort);
}

// The peer answers the list and the open request, then goes away.
void OpenThenLeave(PeerConnection& p) {
  p.Send({Greeting()});
  AnswerList(p);
  AnswerOpen(p);
}

TEST(BoardClientBroken, ConnectionLostWhileOpenLeavesNoBoard) {
  ScriptedPeer peer(OpenThenLeave);
  Probed c(peer.Port());
  c.client.OpenBoard(c.Enumerate().at(0));
  peer.Join();
  EXPECT_THROW(for (int pass = 0; pass < 100; ++pass) c.client.WaitForMessages(50000), Cpp::CExceptionIo);
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
  ScriptedPeer peer(OpenThenLeave);
  auto client = std::make_unique<CBoardClient>(peer.Port());
  std::vector<BoardInfo> boards;
  client->EnumerateBoards(boards);
  client->OpenBoard(boards.at(0));
  peer.Join();
  EXPECT_TRUE(client->IsBoardOpen()) << "nothing has noticed the break yet";
  EXPECT_NO_THROW(client.reset());
}

}  // namespace
}  // namespace zavik::I2cApi
