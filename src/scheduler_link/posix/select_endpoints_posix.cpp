#include "scheduler_link/posix/select_endpoints_posix.h"

namespace zavik::I2cScheduler {

namespace {
constexpr short kReadyMask = POLLIN | POLLOUT | POLLERR | POLLHUP;
}  // namespace

void CSelectEndpointsPosix::WaitForAny(std::int32_t milliseconds) {
  pollSet_.clear();
  for (EventHandle handle : Handles()) {
    const ReadinessSignal* signal = static_cast<const ReadinessSignal*>(handle);
    const short events = signal->PollEvents();
    // poll() ignores negative descriptors: a direction with nothing in flight
    // must not end the wait.
    pollSet_.push_back(pollfd{events != 0 ? signal->fd : -1, events, 0});
  }
  ::poll(pollSet_.data(), pollSet_.size(), milliseconds);
}

bool CSelectEndpointsPosix::IsSignalled(std::size_t index) { return (pollSet_[index].revents & kReadyMask) != 0; }

}  // namespace zavik::I2cScheduler
