#pragma once
// Waits with poll() on the readiness signals of the watched endpoints.

#include <vector>

#include "scheduler_link/posix/readiness_signal.h"
#include "scheduler_link/select_endpoints.h"

namespace zavik::I2cScheduler {

class CSelectEndpointsPosix : public CSelectEndpoints {
 public:
  CSelectEndpointsPosix() = default;
  void Clear() override;
  void SetReadEndpoints(EndpointList* list) override;
  void SetWriteEndpoints(EndpointList* list) override;
  bool Wait(std::int32_t timeoutMicroseconds) override;

 private:
  void RebuildHandles();
  std::size_t MarkIdle(EndpointList* list, std::size_t k, bool readDirection);

  EndpointList* readList_ = nullptr;
  EndpointList* writeList_ = nullptr;
  std::vector<EventHandle> handles_;
  std::vector<pollfd> pollSet_;
};

}  // namespace zavik::I2cScheduler
