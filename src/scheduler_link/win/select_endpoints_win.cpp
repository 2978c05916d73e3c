#include "scheduler_link/win/select_endpoints_win.h"

namespace zavik::I2cScheduler {

// Any one event ends the wait; which ones are signalled is asked per handle.
void CSelectEndpointsWin::WaitForAny(std::int32_t milliseconds) {
  WaitForMultipleObjects(static_cast<DWORD>(Handles().size()), Handles().data(), FALSE,
                         static_cast<DWORD>(milliseconds));
}

bool CSelectEndpointsWin::IsSignalled(std::size_t index) {
  return WaitForSingleObject(Handles()[index], 0) != WAIT_TIMEOUT;
}

}  // namespace zavik::I2cScheduler
