#pragma once
// Waits on the Win32 events of the watched endpoints, all in one handle array.

#include <winsock2.h>
#include <windows.h>

#include "scheduler_link/select_endpoints_base.h"

namespace zavik::I2cScheduler {

class CSelectEndpointsWin : public CSelectEndpointsBase {
 public:
  CSelectEndpointsWin() = default;

 private:
  void WaitForAny(std::int32_t milliseconds) override;
  bool IsSignalled(std::size_t index) override;
};

}  // namespace zavik::I2cScheduler
