#include "scheduler_link/win/select_endpoints_win.h"

namespace zavik::I2cScheduler {

void CSelectEndpointsWin::Clear() {
  handles_.reset();
  handleCount_ = 0;
  readList_ = writeList_ = nullptr;
}

void CSelectEndpointsWin::SetReadEndpoints(EndpointList* list) {
  readList_ = list;
  RebuildHandles();
}

void CSelectEndpointsWin::SetWriteEndpoints(EndpointList* list) {
  writeList_ = list;
  RebuildHandles();
}

// Read events of the read list in list order, then write events of the write
// list; an endpoint in both lists contributes both of its events.
void CSelectEndpointsWin::RebuildHandles() {
  handles_.reset();
  handleCount_ = 0;
  std::uint32_t count = 0;
  if (readList_ != nullptr)
    for (const Endpoint* e : *readList_) count += e->readEvent != nullptr;
  if (writeList_ != nullptr)
    for (const Endpoint* e : *writeList_) count += e->writeEvent != nullptr;
  if (count == 0) return;

  handles_.reset(new HANDLE[count]);
  if (readList_ != nullptr)
    for (const Endpoint* e : *readList_)
      if (e->readEvent != nullptr) handles_[handleCount_++] = e->readEvent;
  if (writeList_ != nullptr)
    for (const Endpoint* e : *writeList_)
      if (e->writeEvent != nullptr) handles_[handleCount_++] = e->writeEvent;
}

bool CSelectEndpointsWin::Wait(std::int32_t timeoutMicroseconds) {
  if (handleCount_ == 0) return false;
  const std::int32_t milliseconds = timeoutMicroseconds / 1000;
  // Any one event ends the wait; which one is found out below, per endpoint.
  WaitForMultipleObjects(handleCount_, handles_.get(), FALSE, static_cast<DWORD>(milliseconds));
  const std::uint32_t k = MarkIdle(readList_, 0, true);
  MarkIdle(writeList_, k, false);
  return true;
}

// Walks a list alongside the handle array. An endpoint whose event is null or
// no longer the one in the array (replaced after the rebuild) is skipped and
// keeps its flag.
std::uint32_t CSelectEndpointsWin::MarkIdle(EndpointList* list, std::uint32_t k, bool readDirection) {
  if (list == nullptr) return k;
  for (Endpoint* e : *list) {
    HANDLE event = readDirection ? e->readEvent : e->writeEvent;
    if (k >= handleCount_ || event == nullptr || event != handles_[k]) continue;
    const bool idle = WaitForSingleObject(event, 0) == WAIT_TIMEOUT;
    (readDirection ? e->readIdle : e->writeIdle) = idle;
    ++k;
  }
  return k;
}

}  // namespace zavik::I2cScheduler
