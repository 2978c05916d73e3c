#pragma once
// How long each phase of an I2C clock lasts on the simulated bus, in
// nanoseconds of the simulator's own bus time. The mode a bitrate falls in
// decides the limits (I2C-bus timing limits, UM10204 tables 10 and 12), and
// the phases are chosen inside them: the clock period is the bitrate's
// (rounded up to whole nanoseconds, so the clock never runs faster than
// asked), the time beyond the minimum LOW and HIGH times is shared equally
// between them, data changes a quarter into the LOW time (never later than
// half the data valid time), and START, repeated START and STOP conditions
// last as long as a HIGH time, or their own minimum when that is longer.
// Bitrates outside every mode get a plain half-and-half clock at their
// period, checked against nothing.

#include <cstdint>

namespace zavik::I2cSim {

enum class BusMode { kStandard, kFast, kFastPlus, kHighSpeed1700k, kHighSpeed3400k, kOutsideEveryMode };

// Minimum times in ns, except maxFrequency (Hz) and maxDataHold, the data
// valid time that a data hold may not exceed.
struct TimingLimits {
  std::uint32_t maxFrequency;
  std::uint32_t low, high;
  std::uint32_t setupStart, holdStart;
  std::uint32_t setupData, maxDataHold;
  std::uint32_t setupStop;
  std::uint32_t busFree;  // 0 in high-speed mode: the bus is back in F/S mode after a STOP
};

class BusTiming {
 public:
  // The timing of a transfer's F/S part (highSpeed false: master codes and
  // every transfer without one) or of its high-speed part.
  static BusTiming For(std::uint32_t bitrate, bool highSpeed);
  static BusMode ModeOf(std::uint32_t bitrate, bool highSpeed);
  // Null for kOutsideEveryMode.
  static const TimingLimits* LimitsOf(BusMode mode);

  std::uint64_t period = 0;
  std::uint64_t low = 0, high = 0;
  std::uint64_t holdData = 0, setupData = 0;  // holdData + setupData == low
  std::uint64_t setupStart = 0, holdStart = 0, setupStop = 0;
};

}  // namespace zavik::I2cSim
