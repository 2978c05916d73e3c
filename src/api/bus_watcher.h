#pragma once
// Module slot 4 of the board client. It is built to follow the bus events of
// the opened board and report transactions to watched slave addresses. No
// address is ever watched and no notification installed in this library, so
// it stays idle: it is reset when a board is opened or closed and leaves
// every batch without effect.

#include <cstdint>
#include <set>

#include "api/board_module.h"
#include "api/i2c_address.h"

namespace zavik::I2cApi {

class CBoardClient;

using BusWatchNotification = void (*)(void* context);

class BusWatcher : public BoardModule {
 public:
  static constexpr std::uint32_t kIdle = 0;

  explicit BusWatcher(CBoardClient& client);

  void HandleMessages(const I2cScheduler::MessageQueue& batch) override;
  void OnBoardOpened() override;
  void OnBoardClosed() override;

  std::uint32_t State() const { return state_; }
  bool IsWatching() const;

 private:
  struct Notification {
    BusWatchNotification function = nullptr;
    void* context = nullptr;
  };

  Notification writeNotification_;
  Notification readNotification_;
  std::set<Cpp::CI2cAddress> watchedWrites_;
  std::set<Cpp::CI2cAddress> watchedReads_;
  std::uint32_t state_ = kIdle;
};

}  // namespace zavik::I2cApi
