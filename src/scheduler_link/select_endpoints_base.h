#pragma once
// The part of endpoint selection that every backend shares: the two watched
// lists, the handle array rebuilt from them, and the idle flags set after each
// wait. A backend adds only how to block on the handles and how to tell
// whether one of them is signalled.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "scheduler_link/select_endpoints.h"

namespace zavik::I2cScheduler {

class CSelectEndpointsBase : public CSelectEndpoints {
 public:
  CSelectEndpointsBase(const CSelectEndpointsBase&) = delete;
  CSelectEndpointsBase& operator=(const CSelectEndpointsBase&) = delete;

  void Clear() override;
  void SetReadEndpoints(EndpointList* list) override;
  void SetWriteEndpoints(EndpointList* list) override;
  // False at once when there is no handle; else waits (the time-out truncated
  // to whole milliseconds), marks the idle flags and answers true.
  bool Wait(std::int32_t timeoutMicroseconds) override;

 protected:
  CSelectEndpointsBase() = default;

  // Read events of the read list in list order, then write events of the
  // write list; an endpoint in both lists contributes both.
  const std::vector<EventHandle>& Handles() const { return handles_; }

  // Blocks until any one of Handles() is signalled or the time is up.
  virtual void WaitForAny(std::int32_t milliseconds) = 0;
  // After WaitForAny: whether Handles()[index] is signalled now.
  virtual bool IsSignalled(std::size_t index) = 0;

 private:
  void RebuildHandles();
  std::size_t MarkIdle(EndpointList* list, std::size_t k, bool readDirection);

  EndpointList* readList_ = nullptr;
  EndpointList* writeList_ = nullptr;
  std::vector<EventHandle> handles_;
};

}  // namespace zavik::I2cScheduler
