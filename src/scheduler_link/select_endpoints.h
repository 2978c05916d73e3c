#pragma once
// Where the library blocks: waits, with a time-out in microseconds, until a
// watched endpoint has a completed read or write, then records which endpoints
// are still idle. Wait answers false only when there is nothing to wait on.

#include <cstdint>

#include "scheduler_link/endpoint.h"

namespace zavik::I2cScheduler {

class CSelectEndpoints {
 public:
  virtual ~CSelectEndpoints() = default;
  virtual void Clear() = 0;
  virtual void SetReadEndpoints(EndpointList* list) = 0;
  virtual void SetWriteEndpoints(EndpointList* list) = 0;
  virtual bool Wait(std::int32_t timeoutMicroseconds) = 0;
};

}  // namespace zavik::I2cScheduler
