#pragma once
// Temperature sensor in the LM75 style: a pointer register selects the
// temperature (read-only), configuration, hysteresis or over-temperature
// register. Temperature and limits are 16-bit big-endian readings with the
// 9-bit two's-complement value (0.5 degree steps) left-aligned; the
// configuration register is one byte. Reads past a register's width repeat it.

#include <array>
#include <cstdint>

#include "sim/i2c_device.h"

namespace zavik::I2cSim {

class TemperatureSensor : public I2cDevice {
 public:
  enum Register : std::uint8_t { kTemperature = 0, kConfiguration = 1, kHysteresis = 2, kOverTemperature = 3 };

  explicit TemperatureSensor(double celsius);

  bool Select(bool read) override;
  bool Write(std::uint8_t byte) override;
  std::uint8_t Read() override;
  void Release(bool stop) override;

  void SetTemperature(double celsius);
  std::uint16_t RegisterValue(Register reg) const { return registers_[reg]; }
  std::uint8_t Pointer() const { return pointer_; }

  // 9-bit reading in half degrees, left-aligned in 16 bits.
  static std::uint16_t Encode(double celsius);

 private:
  unsigned Width() const { return pointer_ == kConfiguration ? 1 : 2; }

  std::array<std::uint16_t, 4> registers_{};
  std::uint8_t pointer_ = kTemperature;
  unsigned byteIndex_ = 0;
  bool writing_ = false;
  bool pointerSeen_ = false;
  std::uint16_t pendingValue_ = 0;
};

}  // namespace zavik::I2cSim
