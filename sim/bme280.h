#pragma once
// BME280 humidity, pressure and temperature sensor on I2C: the chip's
// register map (chip id, soft reset, ctrl_hum, status, ctrl_meas, config,
// the data registers and the two calibration blocks), register/data pairs on
// writes, auto-incrementing burst reads, and measurements in forced and
// normal mode that take the datasheet's typical time on the device clock.
// The environment is constant, so the IIR filter passes it through; what a
// measurement reports is worked out when it starts and appears in the data
// registers when it ends.

#include <array>
#include <cstdint>

#include "sim/bme280_calibration.h"
#include "sim/clock.h"
#include "sim/i2c_device.h"

namespace zavik::I2cSim {

struct Bme280Environment {
  double celsius = 22.5;
  double hectopascal = 1013.25;
  double humidity = 45.0;  // %RH
};

struct Bme280Config {
  Bme280Calibration calibration;
  Bme280Environment environment;
};

class Bme280 : public I2cDevice {
 public:
  enum Register : std::uint8_t {
    kCalibrationLow = 0x88,   // 26 bytes
    kChipId = 0xD0,
    kReset = 0xE0,
    kCalibrationHigh = 0xE1,  // 7 bytes
    kCtrlHum = 0xF2,
    kStatus = 0xF3,
    kCtrlMeas = 0xF4,
    kConfig = 0xF5,
    kData = 0xF7,             // press_msb .. hum_lsb, 8 bytes
  };
  static constexpr std::uint8_t kChipIdValue = 0x60;
  static constexpr std::uint8_t kResetCommand = 0xB6;
  static constexpr std::uint8_t kStatusMeasuring = 0x08;
  static constexpr std::uint8_t kStatusImUpdate = 0x01;
  // The NVM copy after power-on or a soft reset (the datasheet's start-up time).
  static constexpr std::uint64_t kStartupMicros = 2000;

  Bme280(const Bme280Config& config, const Clock& clock);

  bool Select(bool read) override;
  bool Write(std::uint8_t byte) override;
  std::uint8_t Read() override;
  void Release(bool stop) override;

  // Typical duration of one measurement for the oversampling codes of
  // ctrl_meas and ctrl_hum (0 skips a channel).
  static std::uint64_t MeasurementMicros(unsigned temperatureCode, unsigned pressureCode, unsigned humidityCode);
  // Bits a temperature or pressure reading carries for its oversampling code.
  static unsigned ResolutionBits(unsigned oversamplingCode, bool filterOn);

 private:
  enum Mode : std::uint8_t { kSleep = 0, kForced = 1, kNormal = 3 };

  void Reset();
  void CatchUp();
  std::uint8_t RegisterValue(std::uint8_t reg) const;
  void WriteRegister(std::uint8_t reg, std::uint8_t value);
  void StartMeasurements(std::uint8_t ctrlMeas);
  std::array<std::uint8_t, 8> Measure(unsigned temperatureCode, unsigned pressureCode, unsigned humidityCode) const;

  Bme280Config config_;
  const Clock& clock_;
  std::array<std::uint8_t, 26> calibrationLow_;
  std::array<std::uint8_t, 7> calibrationHigh_;

  std::uint8_t ctrlHum_ = 0;
  std::uint8_t ctrlMeas_ = 0;
  std::uint8_t configRegister_ = 0;
  std::array<std::uint8_t, 8> data_{};

  // The measurement cycle that the last write of ctrl_meas started.
  Mode mode_ = kSleep;
  std::uint64_t cycleStart_ = 0;
  std::uint64_t measurementMicros_ = 0;
  std::uint64_t periodMicros_ = 0;  // normal mode: measurement plus standby
  std::array<std::uint8_t, 8> result_{};
  std::uint64_t resetAt_ = 0;

  // The status as of the current message's START: the chip shadows its
  // registers during a burst read, so one message sees one moment.
  std::uint8_t status_ = 0;

  std::uint8_t pointer_ = 0;
  bool writing_ = false;
  bool registerNext_ = true;  // the next written byte is a register address
  std::uint8_t writeRegister_ = 0;
};

}  // namespace zavik::I2cSim
