#pragma once
// What the board client asks of each of its four module objects: a handler
// for every received batch and the hooks run after a board is opened or
// closed.

#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi {

class BoardModule {
 public:
  virtual ~BoardModule() = default;
  virtual void HandleMessages(const I2cScheduler::MessageQueue& batch) = 0;
  virtual void OnBoardOpened() = 0;
  virtual void OnBoardClosed() = 0;
};

}  // namespace zavik::I2cApi
