#pragma once
// Channel interface to the I2C scheduler. The order of the virtual operations
// is fixed; implementations never throw and report a closed channel as false
// (or -1 for byte counts).

#include <cstdint>

#include "scheduler_link/endpoint.h"
#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cScheduler {

class CIpc {
 public:
  virtual ~CIpc() = default;
  virtual bool IsOpen() const = 0;
  virtual Endpoint* GetEndpoint() = 0;
  virtual std::int32_t Read(std::uint8_t* buffer, std::int32_t count) = 0;
  virtual std::int32_t Write(const std::uint8_t* bytes, std::int32_t count) = 0;
  virtual bool ServiceRead() = 0;
  virtual bool ServiceWrite() = 0;
  virtual bool SendMessages(MessageQueue& messages) = 0;
  virtual bool ReceiveMessages(MessageQueue& messages) = 0;
  virtual bool SendMessagesBounded(MessageQueue& messages) = 0;
  virtual bool ReceiveMessage(std::uint8_t* buffer) = 0;  // 13 bytes
  virtual bool ReceiveAllMessages(MessageQueue& messages) = 0;
  virtual bool NoMessageReady() const = 0;
  virtual bool ReceiveQueueHigh() const = 0;
  virtual bool SendQueueEmpty() const = 0;
  virtual bool SendQueueHigh() const = 0;
};

}  // namespace zavik::I2cScheduler
