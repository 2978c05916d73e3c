#pragma once
// Waits on the Win32 events of the watched endpoints: read events of the read
// list, then write events of the write list, in one handle array.

#include <winsock2.h>
#include <windows.h>

#include <cstdint>
#include <memory>

#include "scheduler_link/select_endpoints.h"

namespace zavik::I2cScheduler {

class CSelectEndpointsWin : public CSelectEndpoints {
 public:
  CSelectEndpointsWin() = default;
  CSelectEndpointsWin(const CSelectEndpointsWin&) = delete;
  CSelectEndpointsWin& operator=(const CSelectEndpointsWin&) = delete;

  void Clear() override;
  void SetReadEndpoints(EndpointList* list) override;
  void SetWriteEndpoints(EndpointList* list) override;
  bool Wait(std::int32_t timeoutMicroseconds) override;

 private:
  void RebuildHandles();
  std::uint32_t MarkIdle(EndpointList* list, std::uint32_t k, bool readDirection);

  EndpointList* readList_ = nullptr;
  EndpointList* writeList_ = nullptr;
  std::unique_ptr<HANDLE[]> handles_;
  std::uint32_t handleCount_ = 0;
};

}  // namespace zavik::I2cScheduler
