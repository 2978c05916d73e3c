#include "api/capture_module.h"

namespace zavik::I2cApi {

CaptureModule::CaptureModule(CBoardClient&) {}

void CaptureModule::OnBoardOpened() {
  state_ = kIdle;
  result_ = nullptr;
}

void CaptureModule::OnBoardClosed() { state_ = kIdle; }

// Capture records only matter to an armed module; nothing here arms it.
void CaptureModule::HandleMessages(const I2cScheduler::MessageQueue&) {
  if (state_ == kIdle) return;
}

}  // namespace zavik::I2cApi
