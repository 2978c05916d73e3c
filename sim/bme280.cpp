#include "sim/bme280.h"

#include <algorithm>

namespace zavik::I2cSim {

namespace {

// Oversampling factor of a 3-bit osrs code; codes above 5 mean x16 too.
unsigned Factor(unsigned code) { return code == 0 ? 0 : 1u << (std::min(code, 5u) - 1); }

// t_sb codes of the config register.
constexpr std::uint64_t kStandbyMicros[8] = {500, 62500, 125000, 250000, 500000, 1000000, 10000, 20000};

// What a skipped channel reads, and what every data register holds after reset.
constexpr std::uint32_t kSkipped20 = 0x80000;
constexpr std::uint32_t kSkipped16 = 0x8000;

void PutTwentyBits(std::uint8_t* at, std::uint32_t raw) {
  at[0] = static_cast<std::uint8_t>(raw >> 12);
  at[1] = static_cast<std::uint8_t>(raw >> 4);
  at[2] = static_cast<std::uint8_t>((raw & 0x0F) << 4);
}

}  // namespace

Bme280::Bme280(const Bme280Config& config, const Clock& clock)
    : config_(config),
      clock_(clock),
      calibrationLow_(config.calibration.LowBlock()),
      calibrationHigh_(config.calibration.HighBlock()) {
  Reset();
}

void Bme280::Reset() {
  ctrlHum_ = 0;
  ctrlMeas_ = 0;
  configRegister_ = 0;
  mode_ = kSleep;
  PutTwentyBits(&data_[0], kSkipped20);
  PutTwentyBits(&data_[3], kSkipped20);
  data_[6] = kSkipped16 >> 8;
  data_[7] = 0;
  resetAt_ = clock_.NowMicros();
}

std::uint64_t Bme280::MeasurementMicros(unsigned temperatureCode, unsigned pressureCode, unsigned humidityCode) {
  // Datasheet, measurement time (typical): 1 + 2*T + (2*P + 0.5) + (2*H + 0.5) ms,
  // the pressure and humidity terms only for channels that are measured.
  std::uint64_t micros = 1000 + 2000 * Factor(temperatureCode);
  if (pressureCode != 0) micros += 2000 * Factor(pressureCode) + 500;
  if (humidityCode != 0) micros += 2000 * Factor(humidityCode) + 500;
  return micros;
}

unsigned Bme280::ResolutionBits(unsigned oversamplingCode, bool filterOn) {
  // With the filter on the result carries 20 bits; without it, 16 bits at x1
  // and one more for each doubling of the oversampling.
  if (filterOn) return 20;
  return 15 + std::clamp(oversamplingCode, 1u, 5u);
}

// Publishes a measurement whose end has passed and takes the status at this moment.
void Bme280::CatchUp() {
  const std::uint64_t now = clock_.NowMicros();
  const bool started = mode_ != kSleep;
  const bool firstDone = started && now >= cycleStart_ + measurementMicros_;
  bool measuring = false;
  if (mode_ == kForced) {
    measuring = !firstDone;
    if (firstDone) {
      data_ = result_;
      mode_ = kSleep;
      ctrlMeas_ &= 0xFC;  // back to sleep, as the chip reports it
    }
  } else if (mode_ == kNormal) {
    measuring = (now - cycleStart_) % periodMicros_ < measurementMicros_;
    if (firstDone) data_ = result_;
  }
  const bool copying = now < resetAt_ + kStartupMicros;
  status_ = static_cast<std::uint8_t>((measuring ? kStatusMeasuring : 0) | (copying ? kStatusImUpdate : 0));
}

bool Bme280::Select(bool read) {
  CatchUp();
  writing_ = !read;
  registerNext_ = true;
  return true;
}

bool Bme280::Write(std::uint8_t byte) {
  if (!writing_) return false;
  // Writes are register/data pairs; only the register byte moves the pointer
  // that a following read starts from.
  if (registerNext_) {
    writeRegister_ = byte;
    pointer_ = byte;
  } else {
    WriteRegister(writeRegister_, byte);
  }
  registerNext_ = !registerNext_;
  return true;
}

std::uint8_t Bme280::Read() {
  // Burst reads run through the whole map and wrap from 0xFF to 0x00.
  return RegisterValue(pointer_++);
}

void Bme280::Release(bool) { writing_ = false; }

std::uint8_t Bme280::RegisterValue(std::uint8_t reg) const {
  if (reg >= kCalibrationLow && reg < kCalibrationLow + calibrationLow_.size()) return calibrationLow_[reg - kCalibrationLow];
  if (reg >= kCalibrationHigh && reg < kCalibrationHigh + calibrationHigh_.size()) {
    return calibrationHigh_[reg - kCalibrationHigh];
  }
  if (reg >= kData) return data_[reg - kData];
  switch (reg) {
    case kChipId: return kChipIdValue;
    case kCtrlHum: return ctrlHum_;
    case kStatus: return status_;
    case kCtrlMeas: return ctrlMeas_;
    case kConfig: return configRegister_;
    default: return 0x00;  // reset register and unused addresses
  }
}

void Bme280::WriteRegister(std::uint8_t reg, std::uint8_t value) {
  switch (reg) {
    case kReset:
      if (value == kResetCommand) Reset();
      break;
    case kCtrlHum: ctrlHum_ = value & 0x07; break;
    case kCtrlMeas: StartMeasurements(value); break;
    case kConfig:
      // The chip may ignore config in normal mode; this one always does.
      if (mode_ != kNormal) configRegister_ = value & 0xFD;
      break;
    default: break;  // read-only: acknowledged and ignored
  }
}

void Bme280::StartMeasurements(std::uint8_t ctrlMeas) {
  CatchUp();
  ctrlMeas_ = ctrlMeas;
  const unsigned mode = ctrlMeas & 0x03;
  mode_ = mode == 0 ? kSleep : mode == 3 ? kNormal : kForced;
  if (mode_ == kSleep) return;
  // ctrl_hum takes effect here, at the write of ctrl_meas.
  const unsigned temperatureCode = ctrlMeas >> 5;
  const unsigned pressureCode = (ctrlMeas >> 2) & 0x07;
  const unsigned humidityCode = ctrlHum_;
  cycleStart_ = clock_.NowMicros();
  measurementMicros_ = MeasurementMicros(temperatureCode, pressureCode, humidityCode);
  periodMicros_ = measurementMicros_ + kStandbyMicros[configRegister_ >> 5];
  result_ = Measure(temperatureCode, pressureCode, humidityCode);
}

std::array<std::uint8_t, 8> Bme280::Measure(unsigned temperatureCode, unsigned pressureCode,
                                             unsigned humidityCode) const {
  const Bme280Calibration& calibration = config_.calibration;
  const Bme280Environment& environment = config_.environment;
  const bool filterOn = ((configRegister_ >> 2) & 0x07) != 0;
  // Pressure and humidity are solved against the temperature the chip
  // reports, so that a driver's compensation, which starts from that
  // reading, comes back to the environment.
  const std::uint32_t rawTemperature =
      calibration.RawTemperature(environment.celsius, temperatureCode ? ResolutionBits(temperatureCode, filterOn) : 20);
  const double fine = calibration.FineTemperature(rawTemperature);
  std::array<std::uint8_t, 8> image{};
  PutTwentyBits(&image[0], pressureCode ? calibration.RawPressure(environment.hectopascal * 100.0, fine,
                                                                  ResolutionBits(pressureCode, filterOn))
                                        : kSkipped20);
  PutTwentyBits(&image[3], temperatureCode ? rawTemperature : kSkipped20);
  const std::uint32_t rawHumidity = humidityCode ? calibration.RawHumidity(environment.humidity, fine) : kSkipped16;
  image[6] = static_cast<std::uint8_t>(rawHumidity >> 8);
  image[7] = static_cast<std::uint8_t>(rawHumidity);
  return image;
}

}  // namespace zavik::I2cSim
