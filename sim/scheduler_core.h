#pragma once
// The scheduler's protocol logic without sockets: greets clients, answers the
// board list, open, close and parallel-port requests, collects transfers and
// runs them on the boards' simulated buses. Everything a request causes goes
// to the client that sent it, except acknowledgement 46 and the board status
// records, which go to every client that has the board open.

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "scheduler_link/message_codes.h"
#include "scheduler_link/scheduler_message.h"
#include "sim/bench.h"
#include "sim/bus_engine.h"
#include "sim/clock.h"
#include "sim/display_publisher.h"
#include "sim/sim_bus.h"
#include "sim/transfer_assembler.h"

namespace zavik::I2cSim {

using ClientId = std::uint32_t;

// Where the core's answers go; the server queues them on the sockets.
class Outbox {
 public:
  virtual ~Outbox() = default;
  virtual void Send(ClientId client, const I2cScheduler::SchedulerMessage& message) = 0;
  virtual void Trace(const std::string& line) = 0;
};

// Sees every transfer that ran on a board's bus (the VCD waveforms).
class TransferObserver {
 public:
  virtual ~TransferObserver() = default;
  // board: the board's position in the bench.
  virtual void TransferRan(std::size_t board, const BusTransfer& transfer, const TransferResult& result) = 0;
};

class SchedulerCore {
 public:
  // displayDir: where the displays' pictures go as PNG files ("" for none).
  SchedulerCore(const Bench& bench, const Clock& clock, Outbox& outbox, const std::string& displayDir = "");
  ~SchedulerCore();

  // Registers a client and returns its greeting. A client beyond the bench's
  // limit gets a busy greeting and is not registered: accepted is false.
  struct Greeting {
    I2cScheduler::SchedulerMessage message;
    bool accepted = true;
  };
  Greeting Connect(ClientId client);
  void Disconnect(ClientId client);
  void Receive(ClientId client, const I2cScheduler::SchedulerMessage& message);
  // Sends the held-back reports whose time has come; returns the microseconds
  // until the next ones are due, or nothing when none are held.
  std::optional<std::uint64_t> DeliverDue();

  void Observe(TransferObserver* observer) { observer_ = observer; }

  const SchedulerSettings& Settings() const { return settings_; }
  const std::vector<I2cApi::BoardInfo>& Boards() const { return boardInfos_; }
  std::size_t ClientCount() const { return clients_.size(); }

 private:
  struct Board;
  struct Client {
    Board* board = nullptr;
    TransferAssembler assembler;
    bool dropping = false;  // the transfer being collected will not run
  };

  void SendBoardList(ClientId id);
  void OpenBoard(ClientId id, Client& client, const I2cScheduler::SchedulerMessage& request);
  void CloseBoard(ClientId id, Client& client);
  void ParallelPort(ClientId id, const I2cScheduler::SchedulerMessage& request);
  void Configure(ClientId id, Client& client, const I2cScheduler::SchedulerMessage& request);
  void CollectTransfer(ClientId id, Client& client, const I2cScheduler::SchedulerMessage& record);
  void RunTransfer(ClientId id, Client& client, const BusTransfer& transfer);
  void ShowDisplays(Board& board, bool trace);
  void BoardLost(Board& board);
  void SendStatusRecords(Board& board);
  void Acknowledge(ClientId id, std::uint32_t value);
  void SendVcc(ClientId id, std::uint16_t millivolts);

  // Bus reports of a board whose reports come late, in the order they are due.
  struct Delayed {
    std::uint64_t dueMicros;
    ClientId client;
    I2cScheduler::MessageQueue reports;
  };

  SchedulerSettings settings_;
  const Clock& clock_;
  Outbox& outbox_;
  std::deque<Delayed> delayed_;
  DisplayPublisher displays_;
  std::vector<std::unique_ptr<Board>> boards_;
  std::vector<I2cApi::BoardInfo> boardInfos_;
  std::map<ClientId, Client> clients_;
  TransferObserver* observer_ = nullptr;
};

}  // namespace zavik::I2cSim
