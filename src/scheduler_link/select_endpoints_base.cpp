#include "scheduler_link/select_endpoints_base.h"

namespace zavik::I2cScheduler {

void CSelectEndpointsBase::Clear() {
  readList_ = writeList_ = nullptr;
  handles_.clear();
}

void CSelectEndpointsBase::SetReadEndpoints(EndpointList* list) {
  readList_ = list;
  RebuildHandles();
}

void CSelectEndpointsBase::SetWriteEndpoints(EndpointList* list) {
  writeList_ = list;
  RebuildHandles();
}

void CSelectEndpointsBase::RebuildHandles() {
  handles_.clear();
  if (readList_ != nullptr)
    for (const Endpoint* e : *readList_)
      if (e->readEvent != nullptr) handles_.push_back(e->readEvent);
  if (writeList_ != nullptr)
    for (const Endpoint* e : *writeList_)
      if (e->writeEvent != nullptr) handles_.push_back(e->writeEvent);
}

bool CSelectEndpointsBase::Wait(std::int32_t timeoutMicroseconds) {
  if (handles_.empty()) return false;
  WaitForAny(timeoutMicroseconds / 1000);
  const std::size_t k = MarkIdle(readList_, 0, true);
  MarkIdle(writeList_, k, false);
  return true;
}

// Walks a list alongside the handle array. An endpoint whose event is null or
// no longer the one in the array (replaced after the rebuild) is skipped and
// keeps its flag.
std::size_t CSelectEndpointsBase::MarkIdle(EndpointList* list, std::size_t k, bool readDirection) {
  if (list == nullptr) return k;
  for (Endpoint* e : *list) {
    const EventHandle event = readDirection ? e->readEvent : e->writeEvent;
    if (k >= handles_.size() || event == nullptr || event != handles_[k]) continue;
    (readDirection ? e->readIdle : e->writeIdle) = !IsSignalled(k);
    ++k;
  }
  return k;
}

}  // namespace zavik::I2cScheduler
