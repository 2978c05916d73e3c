#pragma once
// What a board client talks through: a channel to the scheduler and the two
// selectors that watch its endpoint, one for reading only and one for reading
// and writing. The exports get a socket link to the local scheduler; tests
// and fuzz targets hand in an in-memory one.

#include <memory>

#include "scheduler_link/ipc.h"
#include "scheduler_link/select_endpoints.h"

namespace zavik::I2cScheduler {

struct SchedulerLink {
  std::unique_ptr<CIpc> channel;
  std::unique_ptr<CSelectEndpoints> readSelector;
  std::unique_ptr<CSelectEndpoints> readWriteSelector;
};

}  // namespace zavik::I2cScheduler
