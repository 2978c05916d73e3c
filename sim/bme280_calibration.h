#pragma once
// The trimming parameters of one BME280 as its NVM holds them, the register
// images they are read from (0x88..0xA1 and 0xE1..0xE7), and the raw ADC
// values that make the chip's compensation formulas come back to a given
// environment. The compensation is the datasheet's double-precision one; the
// raw values are found by bisection over the ADC codes a reading can have, so
// any calibration set whose formulas are monotonic in their raw input works.

#include <array>
#include <cstdint>

namespace zavik::I2cSim {

struct Bme280Calibration {
  // Defaults: the worked example of the BMP280 datasheet (same sensing core) for
  // temperature and pressure, and humidity trimming typical of real parts.
  std::uint16_t T1 = 27504;
  std::int16_t T2 = 26435;
  std::int16_t T3 = -1000;
  std::uint16_t P1 = 36477;
  std::int16_t P2 = -10685;
  std::int16_t P3 = 3024;
  std::int16_t P4 = 2855;
  std::int16_t P5 = 140;
  std::int16_t P6 = -7;
  std::int16_t P7 = 15500;
  std::int16_t P8 = -14600;
  std::int16_t P9 = 6000;
  std::uint8_t H1 = 75;
  std::int16_t H2 = 362;
  std::uint8_t H3 = 0;
  std::int16_t H4 = 313;  // 12 bits, signed
  std::int16_t H5 = 50;   // 12 bits, signed
  std::int8_t H6 = 30;

  // calib00..calib25 at 0x88..0xA1 (0xA0 unused) and calib26..calib32 at
  // 0xE1..0xE7, packed as the datasheet's table lays them out.
  std::array<std::uint8_t, 26> LowBlock() const;
  std::array<std::uint8_t, 7> HighBlock() const;

  // The datasheet's double-precision compensation: t_fine from the raw
  // temperature, then degrees Celsius, pascal and %RH.
  double FineTemperature(std::uint32_t rawTemperature) const;
  static double Celsius(double fineTemperature) { return fineTemperature / 5120.0; }
  double Pascal(std::uint32_t rawPressure, double fineTemperature) const;
  double RelativeHumidity(std::uint32_t rawHumidity, double fineTemperature) const;

  // The raw code (20 bits for temperature and pressure, 16 for humidity)
  // nearest to the target among those whose bits below `bits` are zero.
  std::uint32_t RawTemperature(double celsius, unsigned bits) const;
  std::uint32_t RawPressure(double pascal, double fineTemperature, unsigned bits) const;
  std::uint32_t RawHumidity(double percent, double fineTemperature) const;

 private:
  double UnboundedHumidity(std::uint32_t rawHumidity, double fineTemperature) const;
};

}  // namespace zavik::I2cSim
