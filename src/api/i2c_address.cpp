#include "api/i2c_address.h"

#include "api/exceptions.h"

namespace zavik::I2cApi::Cpp {

namespace {

bool IsValid(std::uint16_t value, bool tenBit) {
  if (tenBit) return value <= 1023;
  if (value >= 4 && value <= 7) return false;
  if (value >= 120 && value <= 123) return false;
  return value <= 127;
}

std::uint16_t Validated(std::uint16_t value, bool tenBit) {
  if (!IsValid(value, tenBit)) throw CExceptionI2cAddress(value, tenBit);
  return value;
}

}  // namespace

CI2cAddress::CI2cAddress() : CI2cAddress(80, false) {}

CI2cAddress::CI2cAddress(std::uint16_t value, bool tenBit) : value_(Validated(value, tenBit)), tenBit_(tenBit) {}

}  // namespace zavik::I2cApi::Cpp
