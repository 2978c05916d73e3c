#pragma once
// An in-memory connection between a client's channel and a scheduler played
// in the same process: the simulator's core, or a test's script. There are
// no sockets and no threads. The scheduler's side (a MemoryPeer) runs when
// the client writes and when the client waits with nothing to read, so every
// exchange happens in one deterministic order.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "scheduler_link/scheduler_link.h"

namespace zavik::I2cScheduler {

// The scheduler's side of an in-memory connection.
class MemoryPeer {
 public:
  virtual ~MemoryPeer() = default;
  // The bytes of one write of the client.
  virtual void FromClient(const std::uint8_t* bytes, std::size_t count) = 0;
  // The client waits this long and nothing is there for it to read. A peer
  // that will never send anything again must hang up here: the client's
  // waiting loops have no limit of their own.
  virtual void ClientIdle(std::int32_t milliseconds) = 0;
  // The client has closed its end.
  virtual void ClientClosed() {}
};

class MemoryWire {
 public:
  explicit MemoryWire(MemoryPeer& peer) : peer_(&peer) {}
  MemoryWire(const MemoryWire&) = delete;
  MemoryWire& operator=(const MemoryWire&) = delete;

  // The peer's side. Each delivery is one segment: the client takes it in
  // one read of its own, so a stream cut into pieces arrives as those pieces.
  void Deliver(const std::uint8_t* bytes, std::size_t count);
  // After what was delivered the client finds the connection closed.
  void Hangup() { hungUp_ = true; }
  // The peer goes away: the connection is closed for good.
  void DetachPeer();
  bool ClientClosed() const { return clientClosed_; }

  // The client's side.
  bool HasSegment() const { return !segments_.empty(); }
  bool HungUp() const { return hungUp_; }
  // Takes the front segment, or as much of it as fits; returns the count.
  std::size_t TakeSegment(std::uint8_t* buffer, std::size_t capacity);
  void Write(const std::uint8_t* bytes, std::size_t count);
  void Idle(std::int32_t milliseconds);
  void CloseClient();

 private:
  MemoryPeer* peer_;
  std::deque<std::vector<std::uint8_t>> segments_;
  std::size_t frontTaken_ = 0;
  bool hungUp_ = false;
  bool clientClosed_ = false;
};

// A channel over the wire and its two selectors, ready for a board client.
SchedulerLink ConnectMemoryLink(std::shared_ptr<MemoryWire> wire);

}  // namespace zavik::I2cScheduler
