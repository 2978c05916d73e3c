#pragma once
// The simulated scheduler in the same process as its clients: each Connect
// gives a board client an in-memory link to the scheduler core, for tests and
// fuzz targets. Nothing runs by itself: the core answers each request while
// the client's write hands it over, and the clock moves only when a client
// waits with nothing to read (by the wait's time-out) or when the caller
// advances it. The bench's scheduler settings apply as in the program: busy
// greetings beyond maxClients, closeAfterMessages, outputChunkBytes.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "scheduler_link/scheduler_link.h"
#include "scheduler_link/scheduler_message.h"
#include "sim/bench.h"
#include "sim/clock.h"
#include "sim/scheduler_core.h"

namespace zavik::I2cSim {

class InProcessScheduler : private Outbox {
 public:
  // A client that has waited this long in all with nothing to read, and
  // nothing sent, will hear nothing more: its link is closed, so that it
  // fails with an I/O error instead of waiting for ever.
  static constexpr std::uint64_t kStallMicros = 600000000;

  explicit InProcessScheduler(const Bench& bench = DefaultBench());
  ~InProcessScheduler() override;
  InProcessScheduler(const InProcessScheduler&) = delete;
  InProcessScheduler& operator=(const InProcessScheduler&) = delete;

  // A new connection, greeted at once. Client ids count from 1 in this order.
  I2cScheduler::SchedulerLink Connect();
  HandClock& Clock() { return clock_; }
  // Every record the client sent, in order.
  const std::vector<I2cScheduler::SchedulerMessage>& Received(ClientId client) const;
  // Some client's link was closed because it stalled (see kStallMicros).
  bool Stalled() const { return stalled_; }

 private:
  class Connection;

  void Send(ClientId client, const I2cScheduler::SchedulerMessage& message) override;
  void Trace(const std::string&) override {}
  void FlushAll();

  HandClock clock_;
  SchedulerCore core_;
  std::vector<std::unique_ptr<Connection>> connections_;  // client id - 1
  bool stalled_ = false;
};

}  // namespace zavik::I2cSim
