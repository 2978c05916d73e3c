#pragma once
// The library's one connection to the I2C scheduler. Sends records, waits and
// polls on the caller's thread, dispatches every received batch to its
// handlers and module objects, enumerates, opens and closes boards.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "api/board_info.h"
#include "api/board_module.h"
#include "api/version.h"
#include "scheduler_link/endpoint.h"
#include "scheduler_link/ipc.h"
#include "scheduler_link/message_codes.h"
#include "scheduler_link/scheduler_link.h"
#include "scheduler_link/scheduler_message.h"
#include "scheduler_link/select_endpoints.h"
#include "scheduler_link/socket_platform.h"

namespace zavik::I2cApi {

class CMasterModule;

// Time-outs of the waits, in microseconds.
constexpr std::int32_t kGreetingPassMicroseconds = 1000000;
constexpr std::int32_t kAnswerPassMicroseconds = 10000000;

class CBoardClient {
 public:
  // The exports always use 127.0.0.1:3000; tests pass an ephemeral port.
  explicit CBoardClient(std::uint16_t port = I2cScheduler::kSchedulerPort,
                        const char* host = I2cScheduler::kSchedulerHost);
  // Over a given link, whose channel and selectors must all be set.
  explicit CBoardClient(I2cScheduler::SchedulerLink link);
  // Never throws: see board_client.cpp for what happens when the board
  // cannot be closed any more.
  ~CBoardClient();
  CBoardClient(const CBoardClient&) = delete;
  CBoardClient& operator=(const CBoardClient&) = delete;

  void SendMessage(const I2cScheduler::SchedulerMessage& message);
  void FlushSend();
  void Poll();
  void WaitForMessages(std::int32_t timeoutMicroseconds);

  bool IsBoardOpen() const { return boardOpen_ != 0; }
  const BoardInfo& GetOpenedBoardInfo() const;
  std::uint16_t GetI2cVcc();
  CMasterModule* GetMasterModule() { return masterModule_.get(); }

  void EnumerateBoards(std::vector<BoardInfo>& boards);
  void OpenBoard(const BoardInfo& board);
  void CloseBoard();
  void SetParallelPort(std::int32_t port, bool enable);
  static void CheckBoardVersions(const BoardInfo& board);

  // Puts another module object into slot 1, 2 or 4 and hands back the one it
  // replaces (slot 3 always holds the master module). The library's own
  // modules in those slots stay idle, so this is where a probe or a future
  // module attaches to the batch dispatch.
  std::unique_ptr<BoardModule> ReplaceModule(int slot, std::unique_ptr<BoardModule> module);

 private:
  void HandleBoardListMessages(const I2cScheduler::MessageQueue& batch);
  void DecodeBoardList();
  void CollectAcknowledgements(const I2cScheduler::MessageQueue& batch);
  void HandleBoardStatusMessages(const I2cScheduler::MessageQueue& batch);
  void ApplyStatusRecord(const I2cScheduler::SchedulerMessage& record);
  void ConnectSelectors();
  void WaitForGreeting();
  void DestroyModules();
  void ReleaseConnection();
  std::uint32_t TakeAnswer(std::uint32_t answer, std::uint32_t otherAnswer);
  bool FindBoard(std::uint16_t boardNumber, std::uint32_t boardType);
  void RequireChannel() const;
  void RunOpenHooks();
  void RunCloseHooks();
  BoardModule* ModuleInSlot(int slot) const;

  std::unique_ptr<I2cScheduler::CIpc> channel_;
  std::unique_ptr<BoardModule> recorder_;         // slot 1: BusEventRecorder
  std::unique_ptr<BoardModule> captureModule_;    // slot 2: CaptureModule
  std::unique_ptr<CMasterModule> masterModule_;   // slot 3
  std::unique_ptr<BoardModule> busWatcher_;       // slot 4: BusWatcher
  std::uint8_t boardOpen_ = 0;
  // The board status mirror (with flagPairState_ below): the status handler
  // keeps it current, but nothing in the library reads it.
  std::uint32_t statusWords_[2] = {};
  std::uint8_t statusBytes_[8] = {};
  std::uint16_t i2cVcc_ = 0;
  std::uint8_t i2cVccReceived_ = 0;
  Version schedulerVersion_;
  std::deque<std::uint8_t> boardListBytes_;
  std::uint32_t boardEntrySize_ = 0;
  std::vector<BoardInfo> boards_;
  std::uint8_t enumerating_ = 0;
  BoardInfo openedBoard_;
  I2cScheduler::EndpointList endpoints_;
  std::unique_ptr<I2cScheduler::CSelectEndpoints> readSelector_;
  std::unique_ptr<I2cScheduler::CSelectEndpoints> readWriteSelector_;
  std::uint8_t collectingAcks_ = 0;
  std::deque<std::uint32_t> acknowledgements_;
  std::uint32_t flagPairState_ = 0;
};

}  // namespace zavik::I2cApi
