#pragma once
// A validated slave address: 7-bit (reserved 4..7 and 120..123 refused, at most
// 127) or 10-bit (at most 1023). Every 7-bit address orders before every
// 10-bit one.

#include <cstdint>

namespace zavik::I2cApi::Cpp {

class CI2cAddress {
 public:
  CI2cAddress();  // 0x50, 7-bit
  CI2cAddress(std::uint16_t value, bool tenBit);

  std::uint16_t GetValue() const { return value_; }
  bool IsTenBit() const { return tenBit_; }

  friend bool operator<(const CI2cAddress& a, const CI2cAddress& b) {
    if (a.tenBit_ != b.tenBit_) return !a.tenBit_;
    return a.value_ < b.value_;
  }

 private:
  std::uint16_t value_;
  bool tenBit_;
};

}  // namespace zavik::I2cApi::Cpp
