#include "sim/scheduler_core.h"

#include <algorithm>

#include "scheduler_link/message_codes.h"
#include "sim/board_entry.h"

namespace zavik::I2cSim {

using I2cScheduler::SchedulerMessage;
using namespace I2cScheduler::FromScheduler;

namespace {

bool Contains(const std::vector<std::uint32_t>& list, std::uint32_t value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}
}  // namespace

struct SchedulerCore::Board {
  Board(const BenchBoard& setup, const Clock& clock) : setup(setup), bus(setup.devices, clock) {}
  BenchBoard setup;
  SimBus bus;
  std::map<std::uint16_t, PanelImage> shown;  // by display address, as last published
  std::size_t index = 0;  // position in the bench
  std::uint32_t transfersRun = 0;
  bool lost = false;  // stopped responding
};

SchedulerCore::SchedulerCore(const Bench& bench, const Clock& clock, Outbox& outbox, const std::string& displayDir)
    : settings_(bench.scheduler), clock_(clock), outbox_(outbox), displays_(displayDir) {
  for (const BenchBoard& setup : bench.boards) {
    boards_.push_back(std::make_unique<Board>(setup, clock));
    boards_.back()->index = boards_.size() - 1;
    boardInfos_.push_back(setup.info);
    // The dark panels are on file from the start.
    ShowDisplays(*boards_.back(), false);
  }
}

SchedulerCore::~SchedulerCore() = default;

SchedulerCore::Greeting SchedulerCore::Connect(ClientId id) {
  Greeting greeting;
  greeting.message = SchedulerMessage::WithCode(kGreeting);
  greeting.message.SetByte(4, settings_.version.major);
  greeting.message.SetByte(5, settings_.version.minor);
  greeting.message.SetByte(6, settings_.version.build);
  if (settings_.maxClients != 0 && clients_.size() >= settings_.maxClients) {
    greeting.message.SetByte(8, 1);
    greeting.accepted = false;
    return greeting;
  }
  clients_[id];
  return greeting;
}

void SchedulerCore::Disconnect(ClientId id) { clients_.erase(id); }

void SchedulerCore::Receive(ClientId id, const SchedulerMessage& message) {
  const auto it = clients_.find(id);
  if (it == clients_.end()) return;
  Client& client = it->second;
  switch (message.Code()) {
    case I2cScheduler::ToScheduler::kBoardListRequest: SendBoardList(id); break;
    case I2cScheduler::ToScheduler::kOpenBoard: OpenBoard(id, client, message); break;
    case I2cScheduler::ToScheduler::kCloseBoard: CloseBoard(id, client); break;
    case I2cScheduler::ToScheduler::kParallelPort: ParallelPort(id, message); break;
    case I2cScheduler::ToScheduler::kConfigureMaster: Configure(id, client, message); break;
    case I2cScheduler::ToScheduler::kWriteHeader:
    case I2cScheduler::ToScheduler::kReadHeader:
    case I2cScheduler::ToScheduler::kWriteData: CollectTransfer(id, client, message); break;
    default: break;  // unknown requests are ignored, as a code nobody knows
  }
}

std::optional<std::uint64_t> SchedulerCore::DeliverDue() {
  const std::uint64_t now = clock_.NowMicros();
  while (!delayed_.empty() && delayed_.front().dueMicros <= now) {
    const Delayed& held = delayed_.front();
    if (clients_.count(held.client) != 0) {
      for (const SchedulerMessage& report : held.reports) outbox_.Send(held.client, report);
    }
    delayed_.pop_front();
  }
  if (delayed_.empty()) return std::nullopt;
  return delayed_.front().dueMicros - now;
}

void SchedulerCore::Acknowledge(ClientId id, std::uint32_t value) {
  SchedulerMessage ack = SchedulerMessage::WithCode(I2cScheduler::FromScheduler::kAcknowledgement);
  ack.SetU32At(4, value);
  outbox_.Send(id, ack);
}

void SchedulerCore::SendVcc(ClientId id, std::uint16_t millivolts) {
  SchedulerMessage report = SchedulerMessage::WithCode(I2cScheduler::FromScheduler::kI2cVcc);
  report.SetU16At(4, millivolts);
  outbox_.Send(id, report);
}

void SchedulerCore::SendBoardList(ClientId id) {
  for (const SchedulerMessage& message : BoardListMessages(boardInfos_)) outbox_.Send(id, message);
}

void SchedulerCore::OpenBoard(ClientId id, Client& client, const SchedulerMessage& request) {
  const std::uint16_t number = request.U16At(4);
  const std::uint8_t type = request.Byte(6);
  Board* found = nullptr;
  for (auto& board : boards_) {
    if (board->setup.info.boardNumber == number && (board->setup.info.boardType & 0xFF) == type) {
      found = board.get();
      break;
    }
  }
  if (found == nullptr || found->lost || found->setup.faults.openRefused) {
    outbox_.Trace("client " + std::to_string(id) + ": open of board " + std::to_string(number) + " type " +
                  std::to_string(type) + " refused");
    Acknowledge(id, I2cScheduler::Acknowledgement::kOpenRefused);
    return;
  }
  outbox_.Trace("client " + std::to_string(id) + ": opened board " + std::to_string(number));
  client.board = found;
  client.assembler.Reset();
  client.dropping = false;
  Acknowledge(id, I2cScheduler::Acknowledgement::kOpened);
  SendVcc(id, found->setup.i2cVcc);
  SendStatusRecords(*found);
}

// Plausible board status after an open, for everyone who has the board open:
// counters (10), a status byte set (11, 12), the two flags (25) and one more
// status byte (26).
void SchedulerCore::SendStatusRecords(Board& board) {
  SchedulerMessage words = SchedulerMessage::WithCode(kStatusWords);
  words.SetU32At(4, board.transfersRun);
  words.SetU32At(8, board.setup.info.boardNumber);
  SchedulerMessage bytes11 = SchedulerMessage::WithCode(kStatusBytes);
  for (std::size_t i = 4; i <= 8; ++i) bytes11.SetByte(i, static_cast<std::uint8_t>(i - 4));
  SchedulerMessage bytes12 = SchedulerMessage::WithCode(kStatusPair);
  bytes12.SetByte(4, 1);
  bytes12.SetByte(5, 0);
  SchedulerMessage flags = SchedulerMessage::WithCode(kFlagPair);
  flags.SetByte(4, 1);
  flags.SetByte(5, 0);
  SchedulerMessage byte26 = SchedulerMessage::WithCode(kStatusByte);
  byte26.SetByte(4, 0);
  for (const auto& [id, client] : clients_) {
    if (client.board != &board) continue;
    for (const SchedulerMessage& record : {words, bytes11, bytes12, flags, byte26}) outbox_.Send(id, record);
  }
}

void SchedulerCore::CloseBoard(ClientId id, Client& client) {
  // Always acknowledged: also with no board open, and after the board was lost.
  if (client.board != nullptr) {
    outbox_.Trace("client " + std::to_string(id) + ": closed board " + std::to_string(client.board->setup.info.boardNumber));
  }
  client.board = nullptr;
  client.assembler.Reset();
  client.dropping = false;
  Acknowledge(id, I2cScheduler::Acknowledgement::kClosed);
}

void SchedulerCore::ParallelPort(ClientId id, const SchedulerMessage& request) {
  const bool valid = request.Byte(4) <= 2 && request.Byte(5) <= 1;
  Acknowledge(id, valid && !settings_.parallelPortRefused ? I2cScheduler::Acknowledgement::kPortDone : I2cScheduler::Acknowledgement::kPortRefused);
}

void SchedulerCore::Configure(ClientId id, Client& client, const SchedulerMessage& request) {
  const std::uint32_t bitrate = request.U32At(4);
  const std::uint32_t highSpeed = request.U32At(8);
  client.assembler.Configure(bitrate, highSpeed);
  client.dropping = true;
  Board* board = client.board;
  if (board == nullptr) {
    outbox_.Trace("client " + std::to_string(id) + ": transfer without an open board dropped");
    Acknowledge(id, I2cScheduler::MasterStatus::kConfigRejected);
    return;
  }
  if (board->lost) {
    Acknowledge(id, I2cScheduler::Acknowledgement::kBoardLost);
    return;
  }
  if (board->setup.faults.stopsRespondingAfter >= 0 &&
      board->transfersRun >= static_cast<std::uint32_t>(board->setup.faults.stopsRespondingAfter)) {
    BoardLost(*board);
    return;
  }
  const I2cApi::BoardInfo& info = board->setup.info;
  const bool accepted = Contains(info.bitrates, bitrate) && (highSpeed == 0 || Contains(info.highSpeedBitrates, highSpeed));
  // After a rejection the transfer's records are collected only to know where
  // it ends; nothing of it reaches a device.
  client.dropping = !accepted;
  if (!accepted) {
    outbox_.Trace("client " + std::to_string(id) + " board " + std::to_string(info.boardNumber) + ": bitrate " +
                  std::to_string(bitrate) + " Hz, high-speed " + std::to_string(highSpeed) +
                  " Hz not supported: transfer dropped");
  }
  const int acceptedStatus = board->setup.faults.configurationStatus;
  Acknowledge(id, !accepted              ? I2cScheduler::MasterStatus::kConfigRejected
                  : acceptedStatus >= 0 ? static_cast<std::uint32_t>(acceptedStatus)
                                        : I2cScheduler::MasterStatus::kConfigAccepted);
}

void SchedulerCore::BoardLost(Board& board) {
  board.lost = true;
  outbox_.Trace("board " + std::to_string(board.setup.info.boardNumber) + " (" + board.setup.info.name +
                "): stopped responding");
  for (const auto& [id, client] : clients_) {
    if (client.board == &board) Acknowledge(id, I2cScheduler::Acknowledgement::kBoardLost);
  }
}

void SchedulerCore::CollectTransfer(ClientId id, Client& client, const SchedulerMessage& record) {
  std::optional<BusTransfer> transfer = client.assembler.Feed(record);
  if (!transfer) return;
  const bool dropped = client.dropping || client.board == nullptr || client.board->lost;
  // A transfer sent without its own configuration runs with the last bitrates.
  client.dropping = false;
  if (!dropped) RunTransfer(id, client, *transfer);
}

void SchedulerCore::RunTransfer(ClientId id, Client& client, const BusTransfer& transfer) {
  Board& board = *client.board;
  ++board.transfersRun;
  TransferResult result = BusEngine(board.bus, board.setup.info.maxReadLength).Run(transfer);
  const int delayMs = board.setup.faults.reportDelayMs;
  if (delayMs >= 0) {
    delayed_.push_back({clock_.NowMicros() + static_cast<std::uint64_t>(delayMs) * 1000, id, result.reports});
  } else {
    for (const SchedulerMessage& report : result.reports) outbox_.Send(id, report);
  }
  if (observer_ != nullptr) observer_->TransferRan(board.index, transfer, result);
  outbox_.Trace("client " + std::to_string(id) + " board " + std::to_string(board.setup.info.boardNumber) + ": " +
                result.trace + " -> " + OutcomeText(result.outcome));
  ShowDisplays(board, true);
}

// Publishes the picture of every display whose panel changed since it was
// last published.
void SchedulerCore::ShowDisplays(Board& board, bool trace) {
  for (const SimBus::AttachedDisplay& attached : board.bus.Displays()) {
    PanelImage image = attached.display->Shown();
    auto last = board.shown.find(attached.address);
    if (last != board.shown.end() && last->second == image) continue;
    const std::vector<std::string> lines = displays_.Publish(board.setup.info.boardNumber, attached.address, image);
    if (trace) {
      for (const std::string& line : lines) outbox_.Trace(line);
    }
    board.shown[attached.address] = std::move(image);
  }
}

}  // namespace zavik::I2cSim
