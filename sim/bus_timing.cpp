#include "sim/bus_timing.h"

#include <algorithm>

namespace zavik::I2cSim {

namespace {

// UM10204 table 10 (Standard-mode, Fast-mode, Fast-mode Plus) and table 12
// (Hs-mode at Cb = 400 pF up to 1.7 MHz, at Cb = 100 pF up to 3.4 MHz), in ns.
//                                 fmax      tLOW  tHIGH tSU;STA tHD;STA tSU;DAT tVD;DAT tSU;STO tBUF
constexpr TimingLimits kStandard{100000, 4700, 4000, 4700, 4000, 250, 3450, 4000, 4700};
constexpr TimingLimits kFast{400000, 1300, 600, 600, 600, 100, 900, 600, 1300};
constexpr TimingLimits kFastPlus{1000000, 500, 260, 260, 260, 50, 450, 260, 500};
constexpr TimingLimits kHighSpeed1700k{1700000, 320, 120, 160, 160, 10, 150, 160, 0};
constexpr TimingLimits kHighSpeed3400k{3400000, 160, 60, 160, 160, 10, 70, 160, 0};

// The file's resolution is 1 ns: shorter clocks could not show their phases.
constexpr std::uint64_t kShortestPeriod = 4;

std::uint64_t PeriodOf(std::uint32_t bitrate) {
  const std::uint64_t rate = std::max<std::uint32_t>(bitrate, 1);
  return std::max<std::uint64_t>((1000000000ull + rate - 1) / rate, kShortestPeriod);
}

}  // namespace

BusMode BusTiming::ModeOf(std::uint32_t bitrate, bool highSpeed) {
  if (highSpeed) {
    if (bitrate <= kHighSpeed1700k.maxFrequency) return BusMode::kHighSpeed1700k;
    if (bitrate <= kHighSpeed3400k.maxFrequency) return BusMode::kHighSpeed3400k;
    return BusMode::kOutsideEveryMode;
  }
  if (bitrate <= kStandard.maxFrequency) return BusMode::kStandard;
  if (bitrate <= kFast.maxFrequency) return BusMode::kFast;
  if (bitrate <= kFastPlus.maxFrequency) return BusMode::kFastPlus;
  return BusMode::kOutsideEveryMode;
}

const TimingLimits* BusTiming::LimitsOf(BusMode mode) {
  switch (mode) {
    case BusMode::kStandard: return &kStandard;
    case BusMode::kFast: return &kFast;
    case BusMode::kFastPlus: return &kFastPlus;
    case BusMode::kHighSpeed1700k: return &kHighSpeed1700k;
    case BusMode::kHighSpeed3400k: return &kHighSpeed3400k;
    case BusMode::kOutsideEveryMode: break;
  }
  return nullptr;
}

BusTiming BusTiming::For(std::uint32_t bitrate, bool highSpeed) {
  BusTiming timing;
  timing.period = PeriodOf(bitrate);
  const TimingLimits* limits = LimitsOf(ModeOf(bitrate, highSpeed));
  if (limits == nullptr) {
    timing.low = (timing.period + 1) / 2;
    timing.high = timing.period - timing.low;
    timing.holdData = std::max<std::uint64_t>(timing.low / 4, 1);
    timing.setupData = timing.low - timing.holdData;
    timing.setupStart = timing.holdStart = timing.setupStop = timing.high;
    return timing;
  }
  // Every bitrate up to the mode's maximum leaves room for both minimums.
  const std::uint64_t spare = timing.period - limits->low - limits->high;
  timing.low = limits->low + spare / 2;
  timing.high = timing.period - timing.low;
  timing.holdData = std::min<std::uint64_t>(timing.low / 4, limits->maxDataHold / 2);
  timing.setupData = timing.low - timing.holdData;
  timing.setupStart = std::max<std::uint64_t>(timing.high, limits->setupStart);
  timing.holdStart = std::max<std::uint64_t>(timing.high, limits->holdStart);
  timing.setupStop = std::max<std::uint64_t>(timing.high, limits->setupStop);
  return timing;
}

}  // namespace zavik::I2cSim
