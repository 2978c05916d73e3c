#include "scheduler_link/posix/ipc_posix_socket.h"
#include "scheduler_link/posix/select_endpoints_posix.h"
#include "scheduler_link/socket_platform.h"

namespace zavik::I2cScheduler {

std::unique_ptr<CIpc> CreateSocketChannel(std::uint16_t port, const char* host) {
  return std::make_unique<CIpcPosixSocket>(port, host);
}

std::unique_ptr<CSelectEndpoints> CreateEndpointSelector() { return std::make_unique<CSelectEndpointsPosix>(); }

}  // namespace zavik::I2cScheduler
