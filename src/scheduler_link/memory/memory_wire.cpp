#include "scheduler_link/memory/memory_wire.h"

#include <algorithm>
#include <cstring>

#include "scheduler_link/memory/ipc_memory.h"
#include "scheduler_link/memory/select_endpoints_memory.h"

namespace zavik::I2cScheduler {

void MemoryWire::Deliver(const std::uint8_t* bytes, std::size_t count) {
  if (count != 0 && !hungUp_ && !clientClosed_) segments_.emplace_back(bytes, bytes + count);
}

void MemoryWire::DetachPeer() {
  peer_ = nullptr;
  hungUp_ = true;
}

std::size_t MemoryWire::TakeSegment(std::uint8_t* buffer, std::size_t capacity) {
  if (segments_.empty()) return 0;
  const std::vector<std::uint8_t>& front = segments_.front();
  const std::size_t n = std::min(capacity, front.size() - frontTaken_);
  std::memcpy(buffer, front.data() + frontTaken_, n);
  frontTaken_ += n;
  if (frontTaken_ == front.size()) {
    segments_.pop_front();
    frontTaken_ = 0;
  }
  return n;
}

void MemoryWire::Write(const std::uint8_t* bytes, std::size_t count) {
  if (peer_ != nullptr && !hungUp_) peer_->FromClient(bytes, count);
}

void MemoryWire::Idle(std::int32_t milliseconds) {
  if (peer_ != nullptr && !hungUp_) peer_->ClientIdle(milliseconds);
}

void MemoryWire::CloseClient() {
  if (clientClosed_) return;
  clientClosed_ = true;
  segments_.clear();
  if (peer_ != nullptr) peer_->ClientClosed();
}

SchedulerLink ConnectMemoryLink(std::shared_ptr<MemoryWire> wire) {
  SchedulerLink link;
  link.channel = std::make_unique<CIpcMemory>(std::move(wire));
  link.readSelector = std::make_unique<CSelectEndpointsMemory>();
  link.readWriteSelector = std::make_unique<CSelectEndpointsMemory>();
  return link;
}

}  // namespace zavik::I2cScheduler
