#pragma once
// Module slot 2 of the board client. It is built to receive a capture from
// the scheduler (codes 14 to 18), but this library never arms it: it stays
// idle, is reset when a board is opened or closed, and leaves every batch
// without effect.

#include <cstdint>

#include "api/board_module.h"

namespace zavik::I2cApi {

class CBoardClient;
struct CaptureResult;

using CaptureNotification = void (*)(void* context);

class CaptureModule : public BoardModule {
 public:
  static constexpr std::uint32_t kIdle = 0;

  explicit CaptureModule(CBoardClient& client);

  void HandleMessages(const I2cScheduler::MessageQueue& batch) override;
  void OnBoardOpened() override;
  void OnBoardClosed() override;

  std::uint32_t State() const { return state_; }
  bool HasResult() const { return result_ != nullptr; }

 private:
  struct Notification {
    CaptureNotification function = nullptr;
    void* context = nullptr;
  };

  std::uint32_t state_ = kIdle;
  CaptureResult* result_ = nullptr;
  Notification notifications_[2];
};

}  // namespace zavik::I2cApi
