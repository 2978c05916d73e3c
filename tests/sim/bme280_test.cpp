// The BME280 model at the register level with a hand-advanced clock: its
// readings put through the datasheet's own compensation formulas, and the
// behaviour of its control and status registers.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "bme280_datasheet.h"
#include "sim/bme280.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::Bytes;
namespace ds = bme280_datasheet;

// The datasheet's maximum measurement time for the osrs codes, which a
// careful driver waits before it reads.
std::uint64_t MaxMicros(unsigned t, unsigned p, unsigned h) {
  auto factor = [](unsigned code) { return code == 0 ? 0.0 : double(1u << (std::min(code, 5u) - 1)); };
  const double ms = 1.25 + 2.3 * factor(t) + (p ? 2.3 * factor(p) + 0.575 : 0) + (h ? 2.3 * factor(h) + 0.575 : 0);
  return static_cast<std::uint64_t>(std::ceil(ms * 1000));
}

class Bme280Test : public ::testing::Test {
 protected:
  void Make(const Bme280Config& config) { chip = std::make_unique<Bme280>(config, clock); }
  // Register/data pairs in one message.
  void Set(const Bytes& pairs) { SimTest::WriteMessage(*chip, pairs); }
  // The register address, a repeated START and a burst read.
  Bytes Get(std::uint8_t reg, int count) {
    SimTest::WriteMessage(*chip, {reg}, false);
    return SimTest::ReadMessage(*chip, count);
  }

  SimTest::FakeClock clock;
  std::unique_ptr<Bme280> chip = std::make_unique<Bme280>(Bme280Config{}, clock);
};

struct Environment {
  const char* name;
  double celsius, hectopascal, humidity;
};
const Environment kEnvironments[] = {
    {"cold", -39.5, 1013.25, 40}, {"hot", 84.5, 1002, 25},   {"low pressure", 18, 301, 55},
    {"high pressure", 18, 1099, 55}, {"dry", 24, 990, 0},     {"humid", 31, 1020, 100},
};

struct Setting {
  unsigned t, p, h;  // osrs codes
  unsigned filter;   // IIR coefficient code
  bool normal;
};
// Every oversampling code of every channel, each in forced and normal mode,
// the codes above x16, and the filter's full resolution.
const Setting kSettings[] = {
    {1, 1, 1, 0, false}, {1, 1, 1, 0, true}, {2, 2, 2, 0, false}, {2, 2, 2, 0, true}, {3, 3, 3, 0, false},
    {3, 3, 3, 0, true},  {4, 4, 4, 0, false}, {4, 4, 4, 0, true}, {5, 5, 5, 0, false}, {5, 5, 5, 0, true},
    {7, 6, 7, 0, false}, {1, 3, 5, 2, false}, {5, 1, 2, 4, true},
};

// A second set, with negative trimming values and distinct nibbles in the
// shared dig_H4/dig_H5 register, checks the register packing.
Bme280Calibration OtherPart() {
  Bme280Calibration c;
  c.T1 = 28485, c.T2 = 26735, c.T3 = 50;
  c.P1 = 36738, c.P2 = -10635, c.P3 = 3024, c.P4 = 6980, c.P5 = -120, c.P6 = -7, c.P7 = 9900, c.P8 = -10230,
  c.P9 = 4285;
  c.H1 = 75, c.H2 = 362, c.H3 = 0, c.H4 = 0x13A, c.H5 = -0x2C, c.H6 = 30;
  return c;
}

// The larger change of `f` over one step either side of `code`: how
// finely a reading at this resolution can hit a value.
template <typename F>
double Resolution(F f, std::int32_t code, std::int32_t step) {
  return std::max(std::fabs(f(code + step) - f(code)), std::fabs(f(code) - f(code - step)));
}

TEST_F(Bme280Test, DatasheetCompensationGivesBackTheEnvironment) {
  for (const Bme280Calibration& calibration : {Bme280Calibration{}, OtherPart()}) {
    for (const Environment& environment : kEnvironments) {
      for (const Setting& s : kSettings) {
        SCOPED_TRACE(::testing::Message() << environment.name << " osrs " << s.t << s.p << s.h << " filter "
                                          << s.filter << (s.normal ? " normal" : " forced") << " T1 " << calibration.T1);
        Make(Bme280Config{calibration, {environment.celsius, environment.hectopascal, environment.humidity}});
        clock.now += 5000;
        Set({Bme280::kConfig, static_cast<std::uint8_t>(s.filter << 2), Bme280::kCtrlHum, static_cast<std::uint8_t>(s.h),
             Bme280::kCtrlMeas, static_cast<std::uint8_t>(s.t << 5 | s.p << 2 | (s.normal ? 3 : 1))});
        clock.now += MaxMicros(s.t, s.p, s.h);
        const Bytes low = Get(0x88, 26), high = Get(0xE1, 7), data = Get(0xF7, 8);
        const ds::Trimming trim = ds::Parse(low.data(), high.data());
        const std::int32_t adcP = data[0] << 12 | data[1] << 4 | data[2] >> 4;
        const std::int32_t adcT = data[3] << 12 | data[4] << 4 | data[5] >> 4;
        const std::int32_t adcH = data[6] << 8 | data[7];

        // Bits below the resolution read as zero; the filter gives all 20.
        const int stepT = s.filter ? 1 : 1 << (5 - std::min(s.t, 5u));
        const int stepP = s.filter ? 1 : 1 << (5 - std::min(s.p, 5u));
        EXPECT_EQ(adcT % stepT, 0);
        EXPECT_EQ(adcP % stepP, 0);
        EXPECT_EQ(data[2] & 0x0F, 0);
        EXPECT_EQ(data[5] & 0x0F, 0);

        double fine = 0;
        const double celsius = ds::CompensateT(trim, adcT, fine);
        const double pascal = ds::CompensateP(trim, adcP, fine);
        const double humidity = ds::CompensateH(trim, adcH, fine);
        double ignored = 0;
        const double resT = Resolution([&](std::int32_t a) { return ds::CompensateT(trim, a, ignored); }, adcT, stepT);
        const double resP = Resolution([&](std::int32_t a) { return ds::CompensateP(trim, a, fine); }, adcP, stepP);
        const double resH = Resolution([&](std::int32_t a) { return ds::CompensateH(trim, a, fine); }, adcH, 1);
        EXPECT_NEAR(celsius, environment.celsius, resT);
        EXPECT_NEAR(pascal, environment.hectopascal * 100, resP);
        EXPECT_NEAR(humidity, environment.humidity, resH);

        // The integer versions add their own last digit; the 32-bit pressure
        // formula's truncations also cost it a few pascal against the double
        // version of the same reading (up to 5 Pa for these two parts).
        std::int32_t fineInt = 0;
        EXPECT_NEAR(ds::CompensateT(trim, adcT, fineInt) / 100.0, environment.celsius, resT + 0.01);
        EXPECT_NEAR(double(ds::CompensateP(trim, adcP, fineInt)), environment.hectopascal * 100, resP + 6);
        EXPECT_NEAR(ds::CompensateH(trim, adcH, fineInt) / 1024.0, environment.humidity, resH + 1 / 1024.0);
      }
    }
  }
}

TEST_F(Bme280Test, ChipIdReadOnlyRegistersPairedWritesAndBurstReads) {
  EXPECT_EQ(Get(Bme280::kChipId, 1), Bytes{0x60});
  const Bytes calibration = Get(0x88, 26);
  // Writes to read-only registers are acknowledged and change nothing.
  EXPECT_EQ(SimTest::WriteMessage(*chip, {0xD0, 0x00, 0x88, 0xFF, 0xF7, 0x12, 0xF3, 0xFF}), std::vector<bool>(9, true));
  EXPECT_EQ(Get(Bme280::kChipId, 1), Bytes{0x60});
  EXPECT_EQ(Get(0x88, 26), calibration);
  // Each data byte goes to the register named before it, not to the next address.
  Set({Bme280::kCtrlHum, 0x05, Bme280::kConfig, 0xA0});
  clock.now += Bme280::kStartupMicros;
  EXPECT_EQ(Get(Bme280::kCtrlHum, 4), (Bytes{0x05, 0x00, 0x00, 0xA0}));
  // Bursts run on to the end of the map and wrap to 0x00.
  EXPECT_EQ(Get(0xFD, 4), (Bytes{0x80, 0x00, 0x00, 0x00}));
}

TEST_F(Bme280Test, ForcedMeasurementTakesTheTypicalTimeThenSleeps) {
  clock.now += Bme280::kStartupMicros;
  Set({Bme280::kCtrlHum, 0x01, Bme280::kCtrlMeas, 0x25});  // x1 everywhere, forced
  // Typical time: 1 + 2 + 2.5 + 2.5 ms; maximum 9.3 ms.
  EXPECT_EQ(Get(Bme280::kStatus, 2), (Bytes{Bme280::kStatusMeasuring, 0x25}));
  EXPECT_EQ(Get(Bme280::kData, 8), (Bytes{0x80, 0, 0, 0x80, 0, 0, 0x80, 0}));
  clock.now += 7999;
  EXPECT_EQ(Get(Bme280::kStatus, 2), (Bytes{Bme280::kStatusMeasuring, 0x25}));
  clock.now += 1;
  EXPECT_EQ(Get(Bme280::kStatus, 2), (Bytes{0x00, 0x24}));
  EXPECT_NE(Get(Bme280::kData, 8), (Bytes{0x80, 0, 0, 0x80, 0, 0, 0x80, 0}));
}

TEST_F(Bme280Test, SkippedChannelsAndTheCtrlHumLatch) {
  // Humidity oversampling written after ctrl_meas waits for the next write of it.
  Set({Bme280::kCtrlMeas, 0x21, Bme280::kCtrlHum, 0x01});  // temperature x1, pressure skipped
  clock.now += MaxMicros(1, 0, 0);
  Bytes data = Get(Bme280::kData, 8);
  EXPECT_EQ(Bytes(data.begin(), data.begin() + 3), (Bytes{0x80, 0x00, 0x00}));
  EXPECT_NE(Bytes(data.begin() + 3, data.begin() + 6), (Bytes{0x80, 0x00, 0x00}));
  EXPECT_EQ(Bytes(data.begin() + 6, data.end()), (Bytes{0x80, 0x00}));
  Set({Bme280::kCtrlMeas, 0x05});  // temperature skipped, pressure x1, humidity x1 from the latch
  clock.now += MaxMicros(0, 1, 1);
  data = Get(Bme280::kData, 8);
  EXPECT_NE(Bytes(data.begin(), data.begin() + 3), (Bytes{0x80, 0x00, 0x00}));
  EXPECT_EQ(Bytes(data.begin() + 3, data.begin() + 6), (Bytes{0x80, 0x00, 0x00}));
  EXPECT_NE(Bytes(data.begin() + 6, data.end()), (Bytes{0x80, 0x00}));
}

TEST_F(Bme280Test, NormalModeRepeatsAfterTheStandbyTime) {
  clock.now += Bme280::kStartupMicros;
  Set({Bme280::kConfig, 0xC0, Bme280::kCtrlHum, 0x01, Bme280::kCtrlMeas, 0x27});  // standby 10 ms; 8 ms measuring
  const std::uint64_t start = clock.now;
  const struct {
    std::uint64_t at;
    std::uint8_t status;
  } moments[] = {{0, 0x08}, {7999, 0x08}, {8000, 0x00}, {17999, 0x00}, {18000, 0x08}, {26000, 0x00}};
  for (const auto& moment : moments) {
    clock.now = start + moment.at;
    EXPECT_EQ(Get(Bme280::kStatus, 1), Bytes{moment.status}) << moment.at;
  }
  Set({Bme280::kConfig, 0x00});  // ignored in normal mode
  EXPECT_EQ(Get(Bme280::kConfig, 1), Bytes{0xC0});
  Set({Bme280::kCtrlMeas, 0x24, Bme280::kConfig, 0x00});
  EXPECT_EQ(Get(Bme280::kConfig, 1), Bytes{0x00});
}

TEST_F(Bme280Test, SoftResetRestoresThePowerOnState) {
  EXPECT_EQ(Get(Bme280::kStatus, 1), Bytes{Bme280::kStatusImUpdate});  // copying the NVM after power-on
  Set({Bme280::kCtrlHum, 0x03, Bme280::kConfig, 0x10, Bme280::kCtrlMeas, 0x25});
  clock.now += MaxMicros(1, 1, 3);
  Set({Bme280::kReset, 0x00});  // any other value does nothing
  EXPECT_EQ(Get(Bme280::kCtrlHum, 4), (Bytes{0x03, 0x00, 0x24, 0x10}));
  Set({Bme280::kReset, Bme280::kResetCommand});
  EXPECT_EQ(Get(Bme280::kCtrlHum, 4), (Bytes{0x00, Bme280::kStatusImUpdate, 0x00, 0x00}));
  EXPECT_EQ(Get(Bme280::kData, 8), (Bytes{0x80, 0, 0, 0x80, 0, 0, 0x80, 0}));
  EXPECT_EQ(Get(Bme280::kReset, 1), Bytes{0x00});
  clock.now += Bme280::kStartupMicros;
  EXPECT_EQ(Get(Bme280::kStatus, 1), Bytes{0x00});
}

}  // namespace
}  // namespace zavik::I2cSim
