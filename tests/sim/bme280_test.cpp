// The BME280 model at the register level with a hand-advanced clock: its
// readings put through the datasheet's compensation formulas, and its control
// and status registers.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "bme280_datasheet.h"
#include "sim/bme280.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::Bytes;
namespace ds = bme280_datasheet;

const Bytes kResetData = {0x80, 0, 0, 0x80, 0, 0, 0x80, 0};

// The datasheet's maximum measurement time, which a careful driver waits.
std::uint64_t MaxMicros(unsigned t, unsigned p, unsigned h) {
  auto factor = [](unsigned code) { return code == 0 ? 0.0 : double(1u << (std::min(code, 5u) - 1)); };
  const double ms = 1.25 + 2.3 * factor(t) + (p ? 2.3 * factor(p) + 0.575 : 0) + (h ? 2.3 * factor(h) + 0.575 : 0);
  return static_cast<std::uint64_t>(std::ceil(ms * 1000));
}

class Bme280Test : public ::testing::Test {
 protected:
  void Set(const Bytes& pairs) { SimTest::WriteMessage(chip, pairs); }  // register/data pairs
  Bytes Get(std::uint8_t reg, int count) {  // register, repeated START, burst read
    SimTest::WriteMessage(chip, {reg}, false);
    return SimTest::ReadMessage(chip, count);
  }
  Bytes Channel(int first, int size) {
    const Bytes data = Get(Bme280::kData, 8);
    return Bytes(data.begin() + first, data.begin() + first + size);
  }

  HandClock clock;
  Bme280 chip{Bme280Config{}, clock};
};

// How far f moves over one step either side of code: how finely a reading at
// this resolution can hit a value.
template <typename F>
double Resolution(F f, std::int32_t code, std::int32_t step) {
  return std::max(std::fabs(f(code + step) - f(code)), std::fabs(f(code) - f(code - step)));
}

TEST(Bme280Compensation, ReadingsGiveBackTheEnvironment) {
  const Bme280Environment environments[] = {{-39.5, 1013.25, 40}, {84.5, 1002, 25}, {18, 301, 55},
                                            {18, 1099, 55},       {24, 990, 0},      {31, 1020, 100}};
  // Each oversampling code of each channel in forced and normal mode, codes
  // above x16, and the filter's full resolution: {t, p, h, filter, mode}.
  const unsigned settings[][5] = {{1, 1, 1, 0, 1}, {1, 1, 1, 0, 3}, {2, 2, 2, 0, 1}, {2, 2, 2, 0, 3}, {3, 3, 3, 0, 2},
                                  {3, 3, 3, 0, 3}, {4, 4, 4, 0, 1}, {4, 4, 4, 0, 3}, {5, 5, 5, 0, 1}, {5, 5, 5, 0, 3},
                                  {7, 6, 7, 0, 1}, {1, 3, 5, 2, 1}, {5, 1, 2, 4, 3}};
  for (const auto& s : settings) {
    // Bits below the resolution read as zero; with the filter all 20 count.
    const int stepT = s[3] ? 1 : 1 << (5 - std::min(s[0], 5u));
    const int stepP = s[3] ? 1 : 1 << (5 - std::min(s[1], 5u));
    std::int32_t bitsSeenT = 0, bitsSeenP = 0;
    for (const Bme280Environment& environment : environments) {
      SCOPED_TRACE(::testing::Message() << environment.celsius << " C " << environment.hectopascal << " hPa "
                                        << environment.humidity << " % settings " << s[0] << s[1] << s[2] << s[3] << s[4]);
      HandClock clock;
      Bme280 chip(Bme280Config{Bme280Calibration{}, environment}, clock);
      SimTest::WriteMessage(chip, {Bme280::kConfig, std::uint8_t(s[3] << 2), Bme280::kCtrlHum, std::uint8_t(s[2]),
                                   Bme280::kCtrlMeas, std::uint8_t(s[0] << 5 | s[1] << 2 | s[4])});
      clock.Advance(MaxMicros(s[0], s[1], s[2]));
      Bytes all;  // 0x88.. 0xA1, then 0xE1..0xE7, then the data
      for (auto [reg, count] : {std::pair{0x88, 26}, {0xE1, 7}, {0xF7, 8}}) {
        SimTest::WriteMessage(chip, {std::uint8_t(reg)}, false);
        const Bytes part = SimTest::ReadMessage(chip, count);
        all.insert(all.end(), part.begin(), part.end());
      }
      const ds::Trimming trim = ds::Parse(&all[0], &all[26]);
      const std::uint8_t* data = &all[33];
      const std::int32_t adcP = data[0] << 12 | data[1] << 4 | data[2] >> 4;
      const std::int32_t adcT = data[3] << 12 | data[4] << 4 | data[5] >> 4;
      const std::int32_t adcH = data[6] << 8 | data[7];
      EXPECT_EQ(adcT % stepT, 0);
      EXPECT_EQ(adcP % stepP, 0);
      bitsSeenT |= adcT;
      bitsSeenP |= adcP;

      std::int32_t fine = 0, ignored = 0;
      const double celsius = ds::CompensateT(trim, adcT, fine) / 100.0;
      auto pascal = [&](std::int32_t adc) { return double(ds::CompensateP(trim, adc, fine)); };
      auto humidity = [&](std::int32_t adc) { return ds::CompensateH(trim, adc, fine) / 1024.0; };
      // Within the resolution, plus each formula's last digit; the 32-bit
      // pressure formula's truncations cost it up to 5 Pa more.
      EXPECT_NEAR(celsius, environment.celsius,
                  Resolution([&](std::int32_t adc) { return ds::CompensateT(trim, adc, ignored) / 100.0; }, adcT, stepT));
      EXPECT_NEAR(pascal(adcP), environment.hectopascal * 100, Resolution(pascal, adcP, stepP) + 5);
      EXPECT_NEAR(humidity(adcH), environment.humidity, Resolution(humidity, adcH, 1) + 1 / 1024.0);
    }
    // ... and the lowest bit of the resolution is used.
    EXPECT_NE(bitsSeenT & stepT, 0);
    EXPECT_NE(bitsSeenP & stepP, 0);
  }
}

TEST_F(Bme280Test, ChipIdReadOnlyRegistersPairedWritesAndBurstReads) {
  EXPECT_EQ(Get(Bme280::kChipId, 1), Bytes{0x60});
  const Bytes calibration = Get(0x88, 26);
  // Writes to read-only registers are acknowledged and change nothing.
  EXPECT_EQ(SimTest::WriteMessage(chip, {0xD0, 0x00, 0x88, 0xFF, 0xF7, 0x12, 0xF3, 0xFF}), std::vector<bool>(9, true));
  EXPECT_EQ(Get(Bme280::kChipId, 1), Bytes{0x60});
  EXPECT_EQ(Get(0x88, 26), calibration);
  // Each data byte goes to the register named before it, not to the next one.
  Set({Bme280::kCtrlHum, 0x05, Bme280::kConfig, 0xA0});
  clock.Advance(Bme280::kStartupMicros);
  EXPECT_EQ(Get(Bme280::kCtrlHum, 4), (Bytes{0x05, 0x00, 0x00, 0xA0}));
  EXPECT_EQ(Get(0xFD, 4), (Bytes{0x80, 0x00, 0x00, 0x00}));  // bursts wrap from 0xFF to 0x00
}

TEST_F(Bme280Test, ForcedMeasurementTakesTheTypicalTimeThenSleeps) {
  clock.Advance(Bme280::kStartupMicros);
  Set({Bme280::kCtrlHum, 0x01, Bme280::kCtrlMeas, 0x25});  // x1 everywhere: typically 8 ms, at most 9.3 ms
  EXPECT_EQ(Get(Bme280::kStatus, 2), (Bytes{Bme280::kStatusMeasuring, 0x25}));
  EXPECT_EQ(Get(Bme280::kData, 8), kResetData);
  clock.Advance(7999);
  EXPECT_EQ(Get(Bme280::kStatus, 2), (Bytes{Bme280::kStatusMeasuring, 0x25}));
  clock.Advance(1);
  EXPECT_EQ(Get(Bme280::kStatus, 2), (Bytes{0x00, 0x24}));
  EXPECT_NE(Get(Bme280::kData, 8), kResetData);
}

TEST_F(Bme280Test, SkippedChannelsAndTheCtrlHumLatch) {
  Set({Bme280::kCtrlMeas, 0x21, Bme280::kCtrlHum, 0x01});  // pressure skipped; humidity not yet latched
  clock.Advance(MaxMicros(1, 0, 0));
  EXPECT_EQ(Channel(0, 3), (Bytes{0x80, 0x00, 0x00}));
  EXPECT_NE(Channel(3, 3), (Bytes{0x80, 0x00, 0x00}));
  EXPECT_EQ(Channel(6, 2), (Bytes{0x80, 0x00}));
  Set({Bme280::kCtrlMeas, 0x05});  // temperature skipped; humidity x1 from the latch
  clock.Advance(MaxMicros(0, 1, 1));
  EXPECT_NE(Channel(0, 3), (Bytes{0x80, 0x00, 0x00}));
  EXPECT_EQ(Channel(3, 3), (Bytes{0x80, 0x00, 0x00}));
  EXPECT_NE(Channel(6, 2), (Bytes{0x80, 0x00}));
}

TEST_F(Bme280Test, NormalModeRepeatsAfterTheStandbyTime) {
  clock.Advance(Bme280::kStartupMicros);
  Set({Bme280::kConfig, 0xC0, Bme280::kCtrlHum, 0x01, Bme280::kCtrlMeas, 0x27});  // 8 ms measuring, 10 ms standby
  const std::uint64_t start = clock.NowMicros();
  for (auto [at, status] : {std::pair{0, 0x08}, {7999, 0x08}, {8000, 0x00}, {17999, 0x00}, {18000, 0x08}, {26000, 0x00}}) {
    clock.Advance(start + at - clock.NowMicros());
    EXPECT_EQ(Get(Bme280::kStatus, 1), Bytes{std::uint8_t(status)}) << at;
  }
  Set({Bme280::kConfig, 0x00});  // ignored in normal mode
  EXPECT_EQ(Get(Bme280::kConfig, 1), Bytes{0xC0});
  Set({Bme280::kCtrlMeas, 0x24, Bme280::kConfig, 0x00});
  EXPECT_EQ(Get(Bme280::kConfig, 1), Bytes{0x00});
}

TEST_F(Bme280Test, SoftResetRestoresThePowerOnState) {
  EXPECT_EQ(Get(Bme280::kStatus, 1), Bytes{Bme280::kStatusImUpdate});  // copying the NVM after power-on
  Set({Bme280::kCtrlHum, 0x03, Bme280::kConfig, 0x10, Bme280::kCtrlMeas, 0x25});
  clock.Advance(MaxMicros(1, 1, 3));
  Set({Bme280::kReset, 0x00});  // any other value does nothing
  EXPECT_EQ(Get(Bme280::kCtrlHum, 4), (Bytes{0x03, 0x00, 0x24, 0x10}));
  Set({Bme280::kReset, Bme280::kResetCommand});
  EXPECT_EQ(Get(Bme280::kCtrlHum, 4), (Bytes{0x00, Bme280::kStatusImUpdate, 0x00, 0x00}));
  EXPECT_EQ(Get(Bme280::kData, 8), kResetData);
  clock.Advance(Bme280::kStartupMicros);
  EXPECT_EQ(Get(Bme280::kStatus, 1), Bytes{0x00});
}

}  // namespace
}  // namespace zavik::I2cSim
