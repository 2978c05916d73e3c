#include "scheduler_link/socket_platform.h"

#include <cstring>

namespace zavik::I2cScheduler {

bool WantsNoDelay(const char* host) { return host != nullptr && std::strcmp(host, kSchedulerHost) == 0; }

SchedulerLink ConnectSocketLink(std::uint16_t port, const char* host) {
  SchedulerLink link;
  link.channel = CreateSocketChannel(port, host);
  link.readSelector = CreateEndpointSelector();
  link.readWriteSelector = CreateEndpointSelector();
  return link;
}

}  // namespace zavik::I2cScheduler
