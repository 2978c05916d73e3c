#pragma once
// Time source of the simulated devices. The EEPROM's write cycle is measured
// against it. The program uses the steady clock; the in-process scheduler and
// the tests use a clock that moves only when it is advanced.

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

class HandClock : public Clock {
 public:
  std::uint64_t NowMicros() const override { return now_; }
  void Advance(std::uint64_t micros) { now_ += micros; }

 private:
  std::uint64_t now_ = 1000;
};

}  // namespace zavik::I2cSim
