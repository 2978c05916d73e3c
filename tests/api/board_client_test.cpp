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
#include "board_entry_bytes.h"
#include "board_peer.h"

namespace zavik::I2cApi {
namespace {

using namespace ClientTesting;
using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;
namespace Off = EntryOffset;

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
      for (std::uint32_t k : c.codes)
        if (k == code) return true;
    return false;
  }
};

class Probe : public BoardModule {
 public:
  Probe(int slot, DispatchLog& log, const CBoardClient& client) : slot_(slot), log_(log), client_(client) {}
  void HandleMessages(const MessageQueue& batch) override {
    if (batch.empty()) return;
    std::vector<std::uint32_t> codes;
    for (const SchedulerMessage& m : batch) codes.push_back(m.Code());
    log_.calls.push_back({slot_, codes, client_.IsBoardOpen()});
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

// Polls in short passes until the probes have seen the code.
void WaitUntilSeen(CBoardClient& client, const DispatchLog& log, std::uint32_t code) {
  for (int pass = 0; pass < 100 && !log.Saw(code); ++pass) client.WaitForMessages(50000);
  ASSERT_TRUE(log.Saw(code)) << "code " << code << " never arrived";
}

SchedulerMessage Record(std::uint32_t code) { return SchedulerMessage::WithCode(code); }

const std::vector<std::uint8_t> kTwoBoards =
    Concatenate({EntryBytes::Board("first", 1, 2), EntryBytes::Board("second", 258, 3)});

void AnswerList(PeerConnection& peer, const std::vector<std::uint8_t>& stream = kTwoBoards) {
  peer.Expect(BoardCode::kListRequest);
  peer.Send(BoardListRecords(stream));
}

void AnswerOpen(PeerConnection& peer) {
  peer.Expect(BoardCode::kOpen);
  peer.Send({Ack(BoardAck::kOpened), VccReport(3300)});
}

void AnswerClose(PeerConnection& peer) {
  peer.Expect(BoardCode::kClose);
  peer.Send({Ack(BoardAck::kClosed)});
}

void AnswerPort(PeerConnection& peer) {
  peer.Expect(BoardCode::kParallelPort);
  peer.Send({Ack(BoardAck::kPortDone)});
}

std::vector<BoardInfo> Enumerate(CBoardClient& client) {
  std::vector<BoardInfo> boards;
  client.EnumerateBoards(boards);
  return boards;
}

// ---------------------------------------------------------------- greeting

TEST(BoardClientGreeting, AcceptsVersion16WithAnyBuildAndSendsNothing) {
  for (std::uint8_t build : {0, 255}) {
    BoardPeer peer([build](PeerConnection& p) {
      p.Send({Greeting(1, 6, build, 2)});  // byte 8 other than 1 is not busy
      EXPECT_TRUE(p.ReceiveUntilClosed().empty());
    });
    EXPECT_NO_THROW(CBoardClient client(peer.Port()));
  }
}

TEST(BoardClientGreeting, RefusesOtherVersionsAndBusyScheduler) {
  struct Case {
    SchedulerMessage greeting;
    std::string text;
  };
  const std::vector<Case> cases = {
      {Greeting(1, 5, 9),
       "Wrong version of the I2C scheduler. The installed I2C scheduler has got the version number 1.5.9, but the "
       "installed I2C API supports only I2C schedulers with a version number of 1.6.x."},
      {Greeting(2, 6, 0),
       "Wrong version of the I2C scheduler. The installed I2C scheduler has got the version number 2.6.0, but the "
       "installed I2C API supports only I2C schedulers with a version number of 1.6.x."},
      {Greeting(1, 6, 0, 1), Cpp::CExceptionSchedulerBusy().GetText()},
  };
  for (const Case& c : cases) {
    BoardPeer peer([&c](PeerConnection& p) {
      p.Send({c.greeting});
      EXPECT_TRUE(p.ReceiveUntilClosed().empty());
    });
    try {
      CBoardClient client(peer.Port());
      ADD_FAILURE() << "accepted: " << c.text;
    } catch (const Cpp::CException& e) {
      EXPECT_EQ(e.GetText(), c.text);
    }
  }
}

TEST(BoardClientGreeting, MissingSchedulerIsAnIoFailure) {
  EXPECT_THROW(CBoardClient client(UnusedPort()), Cpp::CExceptionIo);
  BoardPeer closesAtOnce([](PeerConnection&) {});
  EXPECT_THROW(CBoardClient client(closesAtOnce.Port()), Cpp::CExceptionIo);
}

TEST(BoardClientGreeting, SilentSchedulerKeepsConstructionWaiting) {
  BoardPeer peer([](PeerConnection& p) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    p.Send({Greeting()});
    p.ReceiveUntilClosed();
  });
  EXPECT_NO_THROW(CBoardClient client(peer.Port()));
}

TEST(BoardClientGreeting, RecordsInTheGreetingBatchAreDropped) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting(), Ack(BoardAck::kBoardLost), Record(BoardCode::kListEnd)});
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  EXPECT_NO_THROW(client.WaitForMessages(100000)) << "the 46 must have gone with the greeting";
}

// ---------------------------------------------------------------- dispatch

TEST(BoardClientDispatch, EveryBatchReachesTheModulesInSlotOrder) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.AwaitClient();
    p.Send({Record(5), Record(7), Record(99), Ack(30)});
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  peer.ClientReady();
  DispatchLog log;
  AttachProbes(client, log);
  WaitUntilSeen(client, log, 99);
  ASSERT_EQ(log.calls.size(), 3u);
  const std::vector<std::uint32_t> codes{5, 7, 99, 13};
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(log.calls[i].codes, codes);
  EXPECT_EQ(log.calls[0].slot, 1);
  EXPECT_EQ(log.calls[1].slot, 2);
  EXPECT_EQ(log.calls[2].slot, 4);
}

TEST(BoardClientDispatch, BoardLostWithoutOpenBoardSendsNothingAndStopsTheBatch) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.AwaitClient();
    p.Send({Ack(BoardAck::kBoardLost), Record(5)});
    AnswerPort(p);  // the first record the client sends: no close request before it
    p.Send({Record(6)});
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  peer.ClientReady();
  DispatchLog log;
  AttachProbes(client, log);
  bool raised = false;
  for (int pass = 0; pass < 100 && !raised; ++pass) {
    try {
      client.WaitForMessages(50000);
    } catch (const Cpp::CExceptionHardwareIo&) {
      raised = true;
    }
  }
  EXPECT_TRUE(raised);
  EXPECT_TRUE(log.calls.empty()) << "modules after the status handler must not see that batch";
  client.SetParallelPort(0, true);
  WaitUntilSeen(client, log, 6);
  EXPECT_FALSE(log.Saw(5));
}

TEST(BoardClientDispatch, BoardLostWithOpenBoardClosesItFromInsideThePoll) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    AnswerOpen(p);
    p.Send({Ack(BoardAck::kBoardLost), VccReport(1)});
    AnswerClose(p);
    EXPECT_TRUE(p.ReceiveUntilClosed().empty()) << "the board was closed already";
  });
  CBoardClient client(peer.Port());
  client.OpenBoard(Enumerate(client).at(0));
  DispatchLog log;
  AttachProbes(client, log);
  EXPECT_THROW(
      for (int pass = 0; pass < 100; ++pass) client.WaitForMessages(50000), Cpp::CExceptionHardwareIo);
  EXPECT_FALSE(client.IsBoardOpen());
  EXPECT_EQ(log.hooks, (std::vector<std::string>{"close 1", "close 2", "close 4"}));
  for (const auto& call : log.calls) EXPECT_NE(call.codes.back(), BoardCode::kI2cVcc) << "saw the lost batch";
}

TEST(BoardClientDispatch, ListHandlerTakesTheListBeforeTheStatusHandlerThrows) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.Expect(BoardCode::kListRequest);
    std::vector<SchedulerMessage> records = BoardListRecords(kTwoBoards);
    records.push_back(Ack(BoardAck::kBoardLost));
    p.Send(records);
    AnswerOpen(p);  // no second list request: the list was kept
    AnswerPort(p);
    AnswerClose(p);
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  std::vector<BoardInfo> boards;
  EXPECT_THROW(client.EnumerateBoards(boards), Cpp::CExceptionHardwareIo);
  EXPECT_TRUE(boards.empty());
  BoardInfo second;
  second.boardNumber = 258;
  second.boardType = 3;
  client.OpenBoard(second);
  EXPECT_EQ(client.GetOpenedBoardInfo().name, "second");
  client.SetParallelPort(0, true);
}

// ---------------------------------------------------------------- enumeration

TEST(BoardClientEnumeration, ListInManySmallPiecesKeepsStreamOrder) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.Expect(BoardCode::kListRequest);
    std::vector<std::uint8_t> bytes;
    for (const SchedulerMessage& m : BoardListRecords(kTwoBoards)) bytes.insert(bytes.end(), m.bytes, m.bytes + 13);
    // Pieces of 1 to 40 bytes cut records anywhere; pauses split the batches.
    std::size_t at = 0;
    for (int piece = 0; at < bytes.size(); ++piece) {
      const std::size_t n = std::min<std::size_t>(1 + (piece * 7) % 40, bytes.size() - at);
      p.SendBytes(bytes.data() + at, n);
      at += n;
      if (piece % 200 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  const std::vector<BoardInfo> boards = Enumerate(client);
  ASSERT_EQ(boards.size(), 2u);
  EXPECT_EQ(boards[0].name, "first");
  EXPECT_EQ(boards[1].name, "second");
  EXPECT_EQ(boards[1].boardNumber, 258);
  EXPECT_EQ(boards[1].bitrates, std::vector<std::uint32_t>{100000});
}

TEST(BoardClientEnumeration, IncompleteOrAbsentEntriesGiveNoBoard) {
  // A whole number of records, so no padding completes the entry.
  const std::vector<std::uint8_t> shortOfAnEntry(kBoardEntrySize / 9 * 9, 1);
  BoardPeer peer([&](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p, {});
    AnswerList(p, shortOfAnEntry);
    p.Expect(BoardCode::kListRequest);
    p.Send(BoardListRecords(kTwoBoards, 2 * kBoardEntrySize + 1000));  // more announced than sent
    AnswerList(p, kTwoBoards);
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  EXPECT_TRUE(Enumerate(client).empty());
  EXPECT_TRUE(Enumerate(client).empty());
  EXPECT_TRUE(Enumerate(client).empty());
  EXPECT_EQ(Enumerate(client).size(), 2u) << "leftover bytes of earlier lists must not linger";
}

TEST(BoardClientEnumeration, ListRecordsWhileNotEnumeratingChangeNothing) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    p.AwaitClient();
    p.Send(BoardListRecords(kTwoBoards));  // unasked
    p.Send({Record(99)});
    AnswerOpen(p);
    // The unasked list was ignored, so the opened board is looked up afresh.
    AnswerList(p, Concatenate({EntryBytes::Board("refreshed", 1, 2)}));
    AnswerPort(p);
    AnswerClose(p);
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  peer.ClientReady();
  DispatchLog log;
  AttachProbes(client, log);
  WaitUntilSeen(client, log, 99);
  BoardInfo first;
  first.boardNumber = 1;
  first.boardType = 2;
  client.OpenBoard(first);
  EXPECT_EQ(client.GetOpenedBoardInfo().name, "refreshed");
  client.SetParallelPort(0, true);
}

// ---------------------------------------------------------------- open and close

TEST(BoardClientOpen, RequestCarriesNumberLittleEndianAndTypeByte) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    const SchedulerMessage request = p.Expect(BoardCode::kOpen);
    EXPECT_EQ(request.Byte(4), 2);
    EXPECT_EQ(request.Byte(5), 1);
    EXPECT_EQ(request.Byte(6), 3);
    p.Send({VccReport(3300), Ack(BoardAck::kOpened)});
    AnswerClose(p);
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  DispatchLog log;
  AttachProbes(client, log);
  client.OpenBoard(Enumerate(client).at(1));
  EXPECT_TRUE(client.IsBoardOpen());
  EXPECT_EQ(client.GetI2cVcc(), 3300);
  EXPECT_EQ(log.hooks, (std::vector<std::string>{"open 1", "open 2", "open 4"}));
  client.CloseBoard();
  EXPECT_FALSE(client.IsBoardOpen());
  ASSERT_FALSE(log.calls.empty());
  EXPECT_FALSE(log.calls.back().boardOpen) << "boardOpen is cleared before the close request leaves";
}

TEST(BoardClientOpen, VccReportCountsOnlyAfterTheRequest) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    p.Send({VccReport(1800)});  // before the request: does not count
    p.Expect(BoardCode::kOpen);
    p.Send({Ack(BoardAck::kOpened)});
    p.ExpectSilence(300);  // the client still waits for a Vcc report
    p.Send({VccReport(3300)});
    AnswerPort(p);
    AnswerClose(p);
    p.Expect(BoardCode::kOpen);
    p.Send({VccReport(2500)});  // after the request, before the acknowledgement: counts
    p.Send({Ack(BoardAck::kOpened)});
    AnswerPort(p);
    AnswerClose(p);
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  DispatchLog log;
  AttachProbes(client, log);
  const std::vector<BoardInfo> boards = Enumerate(client);
  WaitUntilSeen(client, log, BoardCode::kI2cVcc);
  client.OpenBoard(boards.at(0));
  EXPECT_EQ(client.GetI2cVcc(), 3300);
  client.SetParallelPort(0, true);
  client.CloseBoard();
  client.OpenBoard(boards.at(0));
  EXPECT_EQ(client.GetI2cVcc(), 2500);
  client.SetParallelPort(0, true);
}

TEST(BoardClientOpen, StrayAcknowledgementsAreNotQueuedAndUnawaitedOnesAreDropped) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    p.Send({Ack(BoardAck::kOpened)});  // nobody collects: must not count for the open below
    p.Send({Record(99)});
    p.Expect(BoardCode::kOpen);
    p.Send({VccReport(3300), Ack(BoardAck::kOpenRefused)});
    p.Expect(BoardCode::kOpen);
    p.Send({Ack(BoardAck::kClosed), Ack(BoardAck::kPortDone), Ack(77), VccReport(3300)});
    p.Send({Ack(BoardAck::kOpened)});
    p.Expect(BoardCode::kParallelPort);
    p.Send({Ack(BoardAck::kOpened), Ack(BoardAck::kClosed), Ack(BoardAck::kPortRefused)});
    p.Expect(BoardCode::kClose);
    p.Send({Ack(BoardAck::kPortDone), Ack(BoardAck::kClosed)});
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  DispatchLog log;
  AttachProbes(client, log);
  const std::vector<BoardInfo> boards = Enumerate(client);
  WaitUntilSeen(client, log, 99);
  EXPECT_THROW(client.OpenBoard(boards.at(0)), Cpp::CExceptionOpen);
  EXPECT_FALSE(client.IsBoardOpen());
  client.OpenBoard(boards.at(0));
  EXPECT_TRUE(client.IsBoardOpen());
  EXPECT_THROW(client.SetParallelPort(1, false), Cpp::CExceptionParallelPort);
  client.CloseBoard();
  EXPECT_FALSE(client.IsBoardOpen());
}

TEST(BoardClientOpen, SameBoardSendsNothingOtherBoardClosesFirst) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    AnswerOpen(p);
    AnswerClose(p);  // the first thing after the repeated open of the same board
    AnswerOpen(p);
    AnswerClose(p);  // destruction
    p.ReceiveUntilClosed();
  });
  auto client = std::make_unique<CBoardClient>(peer.Port());
  DispatchLog log;
  AttachProbes(*client, log);
  const std::vector<BoardInfo> boards = Enumerate(*client);
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

TEST(BoardClientOpen, TooOldComponentIsRefusedBeforeAnythingIsSent) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerPort(p);  // the first record: no open request came before it
    p.ReceiveUntilClosed();
  });
  CBoardClient client(peer.Port());
  BoardInfo board;
  board.installedVersions["firmware"] = {1, 2, 3};
  board.requiredVersions["firmware"] = {1, 2, 4};
  try {
    client.OpenBoard(board);
    ADD_FAILURE() << "opened";
  } catch (const Cpp::CExceptionDriverVersion& e) {
    EXPECT_EQ(e.GetText(),
              "Wrong version of the board's firmware. The installed firmware has got the version number 1.2.3, but "
              "at least version 1.2.4 is needed. Please update the installed board's driver.");
  }
  client.SetParallelPort(0, true);
}

TEST(BoardClientOpen, VersionCheckComparesSharedLabelsInMapOrder) {
  BoardInfo board;
  board.installedVersions["firmware"] = {1, 2, 4};
  board.requiredVersions["firmware"] = {1, 2, 4};
  board.installedVersions["driver"] = {0, 0, 1};  // no requirement
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
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    SchedulerMessage request = p.Expect(BoardCode::kParallelPort);
    EXPECT_EQ(request.Byte(4), 0);
    EXPECT_EQ(request.Byte(5), 1);
    p.Send({Ack(BoardAck::kPortDone)});
    request = p.Expect(BoardCode::kParallelPort);
    EXPECT_EQ(request.Byte(4), 2);
    EXPECT_EQ(request.Byte(5), 0);
    p.Send({Ack(BoardAck::kPortRefused)});
    EXPECT_TRUE(p.ReceiveUntilClosed().empty());
  });
  CBoardClient client(peer.Port());
  client.CloseBoard();  // no board open: sends nothing, the first record is the port command
  EXPECT_THROW(client.SetParallelPort(3, true), Cpp::CExceptionParallelPort);
  EXPECT_THROW(client.SetParallelPort(-1, true), Cpp::CExceptionParallelPort);
  EXPECT_NO_THROW(client.SetParallelPort(0, true));
  EXPECT_THROW(client.SetParallelPort(2, false), Cpp::CExceptionParallelPort);
}

// ---------------------------------------------------------------- broken connection

TEST(BoardClientBroken, ConnectionLostWhileOpenLeavesNoBoard) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    AnswerOpen(p);
  });
  CBoardClient client(peer.Port());
  client.OpenBoard(Enumerate(client).at(0));
  peer.Join();
  EXPECT_THROW(for (int pass = 0; pass < 100; ++pass) client.WaitForMessages(50000), Cpp::CExceptionIo);
  EXPECT_FALSE(client.IsBoardOpen());

  // Operations that need only an open board.
  EXPECT_THROW(client.GetOpenedBoardInfo(), Cpp::CExceptionDeviceOpen);
  EXPECT_THROW(client.GetI2cVcc(), Cpp::CExceptionDeviceOpen);
  EXPECT_THROW(client.GetMasterModule()->SetBitrate(100000), Cpp::CExceptionDeviceOpen);
  EXPECT_NO_THROW(client.CloseBoard());
  // Operations that touch the channel.
  std::vector<BoardInfo> boards;
  EXPECT_THROW(client.EnumerateBoards(boards), Cpp::CExceptionIo);
  EXPECT_THROW(client.EnumerateBoards(boards), Cpp::CExceptionIo) << "a failed send leaves enumerating set";
  EXPECT_THROW(client.SetParallelPort(0, true), Cpp::CExceptionIo);
  EXPECT_THROW(client.OpenBoard(BoardInfo{}), Cpp::CExceptionIo);
  EXPECT_THROW(client.Poll(), Cpp::CExceptionIo);
  EXPECT_THROW(client.FlushSend(), Cpp::CExceptionIo);
}

TEST(BoardClientBroken, DestructionWithOpenBoardAndSchedulerGoneDoesNotThrow) {
  BoardPeer peer([](PeerConnection& p) {
    p.Send({Greeting()});
    AnswerList(p);
    AnswerOpen(p);
  });
  auto client = std::make_unique<CBoardClient>(peer.Port());
  client->OpenBoard(Enumerate(*client).at(0));
  peer.Join();
  EXPECT_TRUE(client->IsBoardOpen()) << "nothing has noticed the break yet";
  EXPECT_NO_THROW(client.reset());
}

}  // namespace
}  // namespace zavik::I2cApi
