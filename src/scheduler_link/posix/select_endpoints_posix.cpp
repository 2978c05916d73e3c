#include "scheduler_link/posix/select_endpoints_posix.h"

namespace zavik::I2cScheduler {

namespace {

ReadinessSignal* SignalOf(EventHandle handle) { return static_cast<ReadinessSignal*>(handle); }

constexpr short kReadyMask = POLLIN | POLLOUT | POLLERR | POLLHUP;

}  // namespace

void CSelectEndpointsPosix::Clear() {
  readList_ = writeList_ = nullptr;
  handles_.clear();
}

void CSelectEndpointsPosix::SetReadEndpoints(EndpointList* list) {
  readList_ = list;
  RebuildHandles();
}

void CSelectEndpointsPosix::SetWriteEndpoints(EndpointList* list) {
  writeList_ = list;
  RebuildHandles();
}

// Read events of the read list in list order, then write events of the write
// list; an endpoint in both lists contributes both.
void CSelectEndpointsPosix::RebuildHandles() {
  handles_.clear();
  if (readList_ != nullptr) {
    for (Endpoint* e : *readList_)
      if (e->readEvent != nullptr) handles_.push_back(e->readEvent);
  }
  if (writeList_ != nullptr) {
    for (Endpoint* e : *writeList_)
      if (e->writeEvent != nullptr) handles_.push_back(e->writeEvent);
  }
  pollSet_.resize(handles_.size());
}

bool CSelectEndpointsPosix::Wait(std::int32_t timeoutMicroseconds) {
  if (handles_.empty()) return false;
  for (std::size_t i = 0; i < handles_.size(); ++i) {
    const ReadinessSignal* signal = SignalOf(handles_[i]);
    const short events = signal->PollEvents();
    // poll() ignores negative descriptors: a direction with nothing in flight
    // must not end the wait.
    pollSet_[i] = pollfd{events != 0 ? signal->fd : -1, events, 0};
  }
  const int milliseconds = timeoutMicroseconds / 1000;
  ::poll(pollSet_.data(), pollSet_.size(), milliseconds);
  std::size_t k = MarkIdle(readList_, 0, true);
  MarkIdle(writeList_, k, false);
  return true;
}

std::size_t CSelectEndpointsPosix::MarkIdle(EndpointList* list, std::size_t k, bool readDirection) {
  if (list == nullptr) return k;
  for (Endpoint* e : *list) {
    EventHandle event = readDirection ? e->readEvent : e->writeEvent;
    if (k >= handles_.size() || event == nullptr || event != handles_[k]) continue;
    const bool idle = (pollSet_[k].revents & kReadyMask) == 0;
    (readDirection ? e->readIdle : e->writeIdle) = idle;
    ++k;
  }
  return k;
}

}  // namespace zavik::I2cScheduler
