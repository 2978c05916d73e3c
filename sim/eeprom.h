#pragma once
// Serial EEPROM of the 24Cxx kind: a word address of one byte (24C02 style)
// or two bytes (24C32 style), page writes that wrap inside their page and are
// programmed at the STOP, sequential reads that wrap around the whole memory,
// and an optional write cycle during which the chip ignores its address.

#include <cstdint>
#include <vector>

#include "sim/clock.h"
#include "sim/i2c_device.h"

namespace zavik::I2cSim {

struct EepromConfig {
  unsigned addressBytes = 2;       // 1 or 2
  std::uint32_t size = 65536;      // bytes; a power of two
  std::uint32_t pageSize = 64;     // bytes; divides size
  std::uint32_t writeCycleMicros = 0;
};

class Eeprom : public I2cDevice {
 public:
  Eeprom(const EepromConfig& config, const Clock& clock);

  bool Select(bool read) override;
  bool Write(std::uint8_t byte) override;
  std::uint8_t Read() override;
  void Release(bool stop) override;

  std::uint8_t At(std::uint32_t address) const { return memory_[address % config_.size]; }
  std::uint32_t Pointer() const { return pointer_; }
  bool Busy() const { return clock_.NowMicros() < busyUntil_; }

 private:
  void Program();

  EepromConfig config_;
  const Clock& clock_;
  std::vector<std::uint8_t> memory_;
  std::uint32_t pointer_ = 0;
  std::uint64_t busyUntil_ = 0;
  // Current write message: word address bytes seen so far and the page latch.
  unsigned addressBytesSeen_ = 0;
  std::uint32_t wordAddress_ = 0;
  // One page latch: -1 marks a byte that this write does not change.
  std::vector<std::int16_t> latch_;
  std::uint32_t latched_ = 0;
  bool writing_ = false;
};

}  // namespace zavik::I2cSim
