#pragma once
// The channel and a selector over a real loopback connection, the way the
// board client drives them: service both directions, then wait.

#include <chrono>
#include <memory>

#include "scheduler_link/ipc_base.h"
#include "scheduler_link/socket_platform.h"

namespace linktest {

using Clock = std::chrono::steady_clock;

inline double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct LoopbackLink {
  explicit LoopbackLink(std::uint16_t port)
      : channel(zavik::I2cScheduler::CreateSocketChannel(port, "127.0.0.1")),
        selector(zavik::I2cScheduler::CreateEndpointSelector()),
        endpoints{channel->GetEndpoint()} {
    selector->SetReadEndpoints(&endpoints);
    selector->SetWriteEndpoints(&endpoints);
  }

  // Both backends share the core; tests look at its queue sizes.
  zavik::I2cScheduler::CIpcBase& Core() { return dynamic_cast<zavik::I2cScheduler::CIpcBase&>(*channel); }

  // Services and waits until done() holds; false when the channel closed or
  // ten seconds passed first.
  template <class Done>
  bool PumpUntil(Done done, bool serviceWrite = true) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (Clock::now() < deadline) {
      const bool readOpen = channel->ServiceRead();
      const bool writeOpen = !serviceWrite || channel->ServiceWrite();
      if (done()) return true;
      if (!readOpen || !writeOpen) return false;
      selector->Wait(100000);
    }
    return false;
  }

  std::unique_ptr<zavik::I2cScheduler::CIpc> channel;
  std::unique_ptr<zavik::I2cScheduler::CSelectEndpoints> selector;
  zavik::I2cScheduler::EndpointList endpoints;
};

}  // namespace linktest
