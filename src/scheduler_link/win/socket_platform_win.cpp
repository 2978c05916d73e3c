#include "scheduler_link/socket_platform.h"
#include "scheduler_link/win/ipc_win_socket.h"
#include "scheduler_link/win/select_endpoints_win.h"

namespace zavik::I2cScheduler {

std::unique_ptr<CIpc> CreateSocketChannel(std::uint16_t port, const char* host) {
  return std::make_unique<CIpcWinSocket>(port, host);
}

std::unique_ptr<CSelectEndpoints> CreateEndpointSelector() { return std::make_unique<CSelectEndpointsWin>(); }

}  // namespace zavik::I2cScheduler
