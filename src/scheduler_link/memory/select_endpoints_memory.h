#pragma once
// Selector for in-memory channels. It never sleeps: when nothing is ready it
// lets the peers run for the wait's time-out instead, and then looks again.

#include "scheduler_link/select_endpoints_base.h"

namespace zavik::I2cScheduler {

class CSelectEndpointsMemory : public CSelectEndpointsBase {
 public:
  CSelectEndpointsMemory() = default;

 private:
  void WaitForAny(std::int32_t milliseconds) override;
  bool IsSignalled(std::size_t index) override;
};

}  // namespace zavik::I2cScheduler
