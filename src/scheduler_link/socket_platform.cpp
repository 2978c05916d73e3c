#include "scheduler_link/socket_platform.h"

namespace zavik::I2cScheduler {

SchedulerLink ConnectSocketLink(std::uint16_t port, const char* host) {
  SchedulerLink link;
  link.channel = CreateSocketChannel(port, host);
  link.readSelector = CreateEndpointSelector();
  link.readWriteSelector = CreateEndpointSelector();
  return link;
}

}  // namespace zavik::I2cScheduler
