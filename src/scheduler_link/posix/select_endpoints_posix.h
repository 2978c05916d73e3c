#pragma once
// Waits with poll() on the readiness signals of the watched endpoints.

#include <poll.h>

#include <vector>

#include "scheduler_link/posix/readiness_signal.h"
#include "scheduler_link/select_endpoints_base.h"

namespace zavik::I2cScheduler {

class CSelectEndpointsPosix : public CSelectEndpointsBase {
 public:
  CSelectEndpointsPosix() = default;

 private:
  void WaitForAny(std::int32_t milliseconds) override;
  bool IsSignalled(std::size_t index) override;

  std::vector<pollfd> pollSet_;
};

}  // namespace zavik::I2cScheduler
