#include "sim/bme280_calibration.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace zavik::I2cSim {

namespace {

void PutLittleEndian(std::uint8_t* at, std::uint16_t value) {
  at[0] = static_cast<std::uint8_t>(value);
  at[1] = static_cast<std::uint8_t>(value >> 8);
}

// The code among 0, step, 2*step, ... below `limit` whose value of the
// monotonic `compensate` is nearest to `target`.
std::uint32_t NearestCode(const std::function<double(std::uint32_t)>& compensate, double target,
                          std::uint32_t limit, std::uint32_t step) {
  std::uint32_t low = 0;
  std::uint32_t high = limit / step - 1;  // in steps
  const bool rising = compensate(high * step) >= compensate(0);
  auto below = [&](std::uint32_t k) { return rising ? compensate(k * step) < target : compensate(k * step) > target; };
  if (!below(low)) return 0;
  if (below(high)) return high * step;
  // Invariant: below(low) and !below(high).
  while (high - low > 1) {
    const std::uint32_t middle = low + (high - low) / 2;
    (below(middle) ? low : high) = middle;
  }
  const double errorLow = std::fabs(compensate(low * step) - target);
  const double errorHigh = std::fabs(compensate(high * step) - target);
  return (errorLow <= errorHigh ? low : high) * step;
}

constexpr std::uint32_t kTwentyBits = 1u << 20;
constexpr std::uint32_t kSixteenBits = 1u << 16;

}  // namespace

std::array<std::uint8_t, 26> Bme280Calibration::LowBlock() const {
  std::array<std::uint8_t, 26> block{};
  const std::uint16_t words[12] = {T1,
                                   static_cast<std::uint16_t>(T2),
                                   static_cast<std::uint16_t>(T3),
                                   P1,
                                   static_cast<std::uint16_t>(P2),
                                   static_cast<std::uint16_t>(P3),
                                   static_cast<std::uint16_t>(P4),
                                   static_cast<std::uint16_t>(P5),
                                   static_cast<std::uint16_t>(P6),
                                   static_cast<std::uint16_t>(P7),
                                   static_cast<std::uint16_t>(P8),
                                   static_cast<std::uint16_t>(P9)};
  for (int i = 0; i < 12; ++i) PutLittleEndian(&block[2 * i], words[i]);
  block[25] = H1;  // 0xA1; 0xA0 stays 0
  return block;
}

std::array<std::uint8_t, 7> Bme280Calibration::HighBlock() const {
  std::array<std::uint8_t, 7> block{};
  PutLittleEndian(&block[0], static_cast<std::uint16_t>(H2));
  block[2] = H3;
  // dig_H4 is 0xE4 (bits 11..4) and 0xE5 bits 3..0; dig_H5 is 0xE5 bits
  // 7..4 (its bits 3..0) and 0xE6 (bits 11..4).
  block[3] = static_cast<std::uint8_t>(H4 >> 4);
  block[4] = static_cast<std::uint8_t>((H4 & 0x0F) | ((H5 & 0x0F) << 4));
  block[5] = static_cast<std::uint8_t>(H5 >> 4);
  block[6] = static_cast<std::uint8_t>(H6);
  return block;
}

double Bme280Calibration::FineTemperature(std::uint32_t raw) const {
  const double var1 = (raw / 16384.0 - T1 / 1024.0) * T2;
  const double delta = raw / 131072.0 - T1 / 8192.0;
  return var1 + delta * delta * T3;
}

double Bme280Calibration::Pascal(std::uint32_t raw, double fine) const {
  double var1 = fine / 2.0 - 64000.0;
  double var2 = var1 * var1 * P6 / 32768.0;
  var2 = var2 + var1 * P5 * 2.0;
  var2 = var2 / 4.0 + P4 * 65536.0;
  var1 = (P3 * var1 * var1 / 524288.0 + P2 * var1) / 524288.0;
  var1 = (1.0 + var1 / 32768.0) * P1;
  if (var1 == 0.0) return 0.0;
  double p = 1048576.0 - raw;
  p = (p - var2 / 4096.0) * 6250.0 / var1;
  var1 = P9 * p * p / 2147483648.0;
  var2 = p * P8 / 32768.0;
  return p + (var1 + var2 + P7) / 16.0;
}

double Bme280Calibration::RelativeHumidity(std::uint32_t raw, double fine) const {
  return std::clamp(UnboundedHumidity(raw, fine), 0.0, 100.0);
}

// Before the formula's final clamp, so that 0 % and 100 % are solved to the
// codes where the curve crosses them rather than to the ends of the range.
double Bme280Calibration::UnboundedHumidity(std::uint32_t raw, double fine) const {
  double h = fine - 76800.0;
  h = (raw - (H4 * 64.0 + H5 / 16384.0 * h)) *
      (H2 / 65536.0 * (1.0 + H6 / 67108864.0 * h * (1.0 + H3 / 67108864.0 * h)));
  return h * (1.0 - H1 * h / 524288.0);
}

std::uint32_t Bme280Calibration::RawTemperature(double celsius, unsigned bits) const {
  return NearestCode([this](std::uint32_t raw) { return Celsius(FineTemperature(raw)); }, celsius, kTwentyBits,
                     1u << (20 - bits));
}

std::uint32_t Bme280Calibration::RawPressure(double pascal, double fine, unsigned bits) const {
  return NearestCode([this, fine](std::uint32_t raw) { return Pascal(raw, fine); }, pascal, kTwentyBits,
                     1u << (20 - bits));
}

std::uint32_t Bme280Calibration::RawHumidity(double percent, double fine) const {
  return NearestCode([this, fine](std::uint32_t raw) { return UnboundedHumidity(raw, fine); }, percent, kSixteenBits, 1);
}

}  // namespace zavik::I2cSim
