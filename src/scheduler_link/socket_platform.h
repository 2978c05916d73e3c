#pragma once
// The seam between the portable core and the operating system. Each backend
// (win/, posix/) defines the two Create functions; the build picks one.

#include <cstdint>
#include <memory>

#include "scheduler_link/ipc.h"
#include "scheduler_link/scheduler_link.h"
#include "scheduler_link/select_endpoints.h"

namespace zavik::I2cScheduler {

constexpr const char* kSchedulerHost = "127.0.0.1";
constexpr std::uint16_t kSchedulerPort = 3000;

// A connected channel, or a closed one when the connection cannot be made.
std::unique_ptr<CIpc> CreateSocketChannel(std::uint16_t port, const char* host);
std::unique_ptr<CSelectEndpoints> CreateEndpointSelector();

// Every exchange with the local scheduler is a small request followed by a
// wait for its answer, which Nagle's algorithm would only delay: both
// backends switch it off for exactly that host, and keep it elsewhere.
bool WantsNoDelay(const char* host);

// A socket channel to host:port with its two selectors (defined in the core).
SchedulerLink ConnectSocketLink(std::uint16_t port, const char* host);

}  // namespace zavik::I2cScheduler
