#pragma once
// Time source of the simulated devices. The EEPROM's write cycle is measured
// against it; tests substitute a clock they advance by hand.

#include <chrono>
#include <cstdint>

namespace zavik::I2cSim {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual std::uint64_t NowMicros() const = 0;
};

class SteadyClock : public Clock {
 public:
  std::uint64_t NowMicros() const override {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
  }
};

}  // namespace zavik::I2cSim
