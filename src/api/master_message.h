#pragma once
// Master messages: one write or one read of the board's I2C master on one
// slave. The transfer tells the kinds apart by dynamic type and writes the
// outcome back into them; callers own the messages.

#include <cstdint>
#include <vector>

#include "api/i2c_address.h"

namespace zavik::I2cApi::Cpp {

class CMasterMessage {
 public:
  virtual ~CMasterMessage() = default;
  virtual std::uint32_t GetTransferredCount() const = 0;

  const CI2cAddress& GetAddress() const { return address_; }
  void SetAddress(const CI2cAddress& address) { address_ = address; }
  std::vector<std::uint8_t>& GetData() { return data_; }
  const std::vector<std::uint8_t>& GetData() const { return data_; }

 protected:
  CMasterMessage() = default;
  explicit CMasterMessage(const CI2cAddress& address) : address_(address) {}

 private:
  CI2cAddress address_;
  std::vector<std::uint8_t> data_;
};

// A write: data holds every byte that follows the address byte on the bus.
class CMasterMessageTx : public CMasterMessage {
 public:
  CMasterMessageTx() = default;
  CMasterMessageTx(const CI2cAddress& address, const std::vector<std::uint8_t>& bytes);

  std::uint32_t GetTransferredCount() const override { return acknowledgedCount_; }
  void SetAcknowledgedCount(std::uint32_t count) { acknowledgedCount_ = count; }

 private:
  std::uint32_t acknowledgedCount_ = 0;
};

// A read of requestedCount bytes; the bytes received land in data.
class CMasterMessageRx : public CMasterMessage {
 public:
  CMasterMessageRx() = default;

  std::uint32_t GetTransferredCount() const override { return static_cast<std::uint32_t>(GetData().size()); }
  void SetRequestedCount(std::uint32_t count) { requestedCount_ = count; }
  std::uint32_t GetRequestedCount() const { return requestedCount_; }

 private:
  std::uint32_t requestedCount_ = 0;
};

// Non-owning, in bus order.
using MasterMessageList = std::vector<CMasterMessage*>;

}  // namespace zavik::I2cApi::Cpp
