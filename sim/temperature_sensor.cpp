#include "sim/temperature_sensor.h"

#include <algorithm>
#include <cmath>

namespace zavik::I2cSim {

TemperatureSensor::TemperatureSensor(double celsius) {
  registers_[kHysteresis] = Encode(75.0);
  registers_[kOverTemperature] = Encode(80.0);
  SetTemperature(celsius);
}

void TemperatureSensor::SetTemperature(double celsius) { registers_[kTemperature] = Encode(celsius); }

std::uint16_t TemperatureSensor::Encode(double celsius) {
  // The sensor covers -55 to +125 degrees; the 9-bit field holds -256..255.
  const long halfDegrees = std::lround(std::clamp(celsius, -128.0, 127.5) * 2.0);
  return static_cast<std::uint16_t>(static_cast<std::uint16_t>(halfDegrees) << 7);
}

bool TemperatureSensor::Select(bool read) {
  writing_ = !read;
  pointerSeen_ = false;
  byteIndex_ = 0;
  pendingValue_ = 0;
  return true;
}

bool TemperatureSensor::Write(std::uint8_t byte) {
  if (!writing_) return false;
  if (!pointerSeen_) {
    pointer_ = byte & 0x03;
    pointerSeen_ = true;
    return true;
  }
  if (pointer_ == kTemperature || byteIndex_ >= Width()) return true;  // read-only or surplus
  if (pointer_ == kConfiguration) {
    registers_[kConfiguration] = byte;
  } else if (byteIndex_ == 0) {
    pendingValue_ = static_cast<std::uint16_t>(byte << 8);
  } else {
    // Only the nine valid bits are kept, as the chip does.
    registers_[pointer_] = static_cast<std::uint16_t>((pendingValue_ | byte) & 0xFF80);
  }
  ++byteIndex_;
  return true;
}

std::uint8_t TemperatureSensor::Read() {
  const std::uint16_t value = registers_[pointer_];
  std::uint8_t byte;
  if (Width() == 1) {
    byte = static_cast<std::uint8_t>(value);
  } else {
    byte = static_cast<std::uint8_t>(byteIndex_ % 2 == 0 ? value >> 8 : value);
  }
  ++byteIndex_;
  return byte;
}

void TemperatureSensor::Release(bool) { writing_ = false; }

}  // namespace zavik::I2cSim
