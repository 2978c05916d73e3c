#include "sim/in_process_scheduler.h"

#include <algorithm>

#include "scheduler_link/memory/memory_wire.h"

namespace zavik::I2cSim {

using I2cScheduler::kMessageSize;
using I2cScheduler::SchedulerMessage;

// One client's connection: cuts the client's bytes into records for the
// core and delivers the core's answers, in chunks when the bench asks for it.
class InProcessScheduler::Connection : public I2cScheduler::MemoryPeer {
 public:
  Connection(InProcessScheduler& scheduler, ClientId id)
      : scheduler_(scheduler), id_(id), wire_(std::make_shared<I2cScheduler::MemoryWire>(*this)) {}
  ~Connection() override { wire_->DetachPeer(); }

  const std::shared_ptr<I2cScheduler::MemoryWire>& Wire() const { return wire_; }
  const std::vector<SchedulerMessage>& Received() const { return received_; }

  void FromClient(const std::uint8_t* bytes, std::size_t count) override {
    idleMicros_ = 0;
    input_.insert(input_.end(), bytes, bytes + count);
    std::size_t at = 0;
    for (; input_.size() - at >= kMessageSize && !closing_; at += kMessageSize) {
      SchedulerMessage message;
      std::copy_n(input_.begin() + static_cast<std::ptrdiff_t>(at), kMessageSize, message.bytes);
      received_.push_back(message);
      scheduler_.core_.Receive(id_, message);
      const std::uint32_t limit = scheduler_.core_.Settings().closeAfterMessages;
      closing_ = limit != 0 && received_.size() >= limit;
    }
    input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(at));
    scheduler_.FlushAll();
    if (closing_) End();
  }

  void ClientIdle(std::int32_t milliseconds) override {
    const std::uint64_t micros = static_cast<std::uint64_t>(std::max(milliseconds, 0)) * 1000;
    scheduler_.clock_.Advance(micros);
    idleMicros_ += micros;
    // Reports held back by the bench come out once their time has come.
    scheduler_.core_.DeliverDue();
    if (!output_.empty()) idleMicros_ = 0;
    scheduler_.FlushAll();
    if (idleMicros_ > kStallMicros) {
      scheduler_.stalled_ = true;
      End();
    }
  }

  void ClientClosed() override { scheduler_.core_.Disconnect(id_); }

  void Queue(const SchedulerMessage& message) {
    output_.insert(output_.end(), message.bytes, message.bytes + kMessageSize);
  }

  void Flush() {
    const std::size_t chunk = scheduler_.core_.Settings().outputChunkBytes;
    for (std::size_t at = 0; at < output_.size();) {
      const std::size_t n = chunk == 0 ? output_.size() : std::min(chunk, output_.size() - at);
      wire_->Deliver(output_.data() + at, n);
      at += n;
    }
    output_.clear();
  }

  // What was delivered is still read; then the client finds the link closed.
  void End() {
    wire_->Hangup();
    scheduler_.core_.Disconnect(id_);
  }

 private:
  InProcessScheduler& scheduler_;
  ClientId id_;
  std::shared_ptr<I2cScheduler::MemoryWire> wire_;
  std::vector<std::uint8_t> input_;
  std::vector<std::uint8_t> output_;
  std::vector<SchedulerMessage> received_;
  std::uint64_t idleMicros_ = 0;
  bool closing_ = false;
};

InProcessScheduler::InProcessScheduler(const Bench& bench) : core_(bench, clock_, *this) {}

InProcessScheduler::~InProcessScheduler() = default;

I2cScheduler::SchedulerLink InProcessScheduler::Connect() {
  const ClientId id = static_cast<ClientId>(connections_.size() + 1);
  connections_.push_back(std::make_unique<Connection>(*this, id));
  Connection& connection = *connections_.back();
  const SchedulerCore::Greeting greeting = core_.Connect(id);
  connection.Queue(greeting.message);
  connection.Flush();
  if (!greeting.accepted) connection.End();
  return I2cScheduler::ConnectMemoryLink(connection.Wire());
}

const std::vector<SchedulerMessage>& InProcessScheduler::Received(ClientId client) const {
  return connections_.at(client - 1)->Received();
}

void InProcessScheduler::Send(ClientId client, const SchedulerMessage& message) {
  if (client >= 1 && client <= connections_.size()) connections_[client - 1]->Queue(message);
}

void InProcessScheduler::FlushAll() {
  for (const std::unique_ptr<Connection>& connection : connections_) connection->Flush();
}

}  // namespace zavik::I2cSim
