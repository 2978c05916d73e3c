#include "api/bus_watcher.h"

namespace zavik::I2cApi {

BusWatcher::BusWatcher(CBoardClient&) {}

void BusWatcher::OnBoardOpened() {
  watchedWrites_.clear();
  watchedReads_.clear();
  state_ = kIdle;
}

void BusWatcher::OnBoardClosed() { state_ = kIdle; }

bool BusWatcher::IsWatching() const {
  const bool notified = writeNotification_.function != nullptr || readNotification_.function != nullptr;
  return notified && !(watchedWrites_.empty() && watchedReads_.empty());
}

// Without a notification or a watched address there is nobody to report to.
void BusWatcher::HandleMessages(const I2cScheduler::MessageQueue&) {
  if (!IsWatching()) return;
}

}  // namespace zavik::I2cApi
