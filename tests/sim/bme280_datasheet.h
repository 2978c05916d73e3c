#pragma once
// The BME280 datasheet's compensation formulas in their 32-bit integer
// version, copied from the datasheet, fed with the calibration registers as a
// driver reads them. The model solves its readings with the double-precision
// version; these independent formulas check it. Left shifts of values that can
// be negative are written as multiplications (the same in two's complement,
// but defined behaviour in C++17).

#include <cstdint>

namespace bme280_datasheet {

struct Trimming {
  std::uint16_t T1;
  std::int16_t T2, T3;
  std::uint16_t P1;
  std::int16_t P2, P3, P4, P5, P6, P7, P8, P9;
  std::uint8_t H1, H3;
  std::int16_t H2, H4, H5;
  std::int8_t H6;
};

// low: the 26 bytes from 0x88, high: the 7 bytes from 0xE1.
inline Trimming Parse(const std::uint8_t* low, const std::uint8_t* high) {
  auto u16 = [](const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | p[1] << 8); };
  auto s16 = [&](const std::uint8_t* p) { return static_cast<std::int16_t>(u16(p)); };
  return Trimming{u16(low), s16(low + 2), s16(low + 4), u16(low + 6), s16(low + 8), s16(low + 10), s16(low + 12),
                  s16(low + 14), s16(low + 16), s16(low + 18), s16(low + 20), s16(low + 22), low[25], high[2], s16(high),
                  static_cast<std::int16_t>(static_cast<std::int8_t>(high[3]) * 16 | (high[4] & 0x0F)),
                  static_cast<std::int16_t>(static_cast<std::int8_t>(high[5]) * 16 | (high[4] >> 4)),
                  static_cast<std::int8_t>(high[6])};
}

// 0.01 degC, Pa, %RH in Q22.10; t_fine carries over from the temperature.
inline std::int32_t CompensateT(const Trimming& c, std::int32_t adc_T, std::int32_t& t_fine) {
  std::int32_t var1 = ((((adc_T >> 3) - ((std::int32_t)c.T1 << 1))) * ((std::int32_t)c.T2)) >> 11;
  std::int32_t var2 = (((((adc_T >> 4) - ((std::int32_t)c.T1)) * ((adc_T >> 4) - ((std::int32_t)c.T1))) >> 12) *
                       ((std::int32_t)c.T3)) >> 14;
  t_fine = var1 + var2;
  return (t_fine * 5 + 128) >> 8;
}

inline std::uint32_t CompensateP(const Trimming& c, std::int32_t adc_P, std::int32_t t_fine) {
  std::int32_t var1 = (((std::int32_t)t_fine) >> 1) - (std::int32_t)64000;
  std::int32_t var2 = (((var1 >> 2) * (var1 >> 2)) >> 11) * ((std::int32_t)c.P6);
  var2 = var2 + ((var1 * ((std::int32_t)c.P5)) * 2);
  var2 = (var2 >> 2) + (((std::int32_t)c.P4) * 65536);
  var1 = (((c.P3 * (((var1 >> 2) * (var1 >> 2)) >> 13)) >> 3) + ((((std::int32_t)c.P2) * var1) >> 1)) >> 18;
  var1 = ((((32768 + var1)) * ((std::int32_t)c.P1)) >> 15);
  if (var1 == 0) return 0;
  std::uint32_t p = (((std::uint32_t)(((std::int32_t)1048576) - adc_P) - (var2 >> 12))) * 3125;
  if (p < 0x80000000) {
    p = (p << 1) / ((std::uint32_t)var1);
  } else {
    p = (p / (std::uint32_t)var1) * 2;
  }
  var1 = (((std::int32_t)c.P9) * ((std::int32_t)(((p >> 3) * (p >> 3)) >> 13))) >> 12;
  var2 = (((std::int32_t)(p >> 2)) * ((std::int32_t)c.P8)) >> 13;
  return (std::uint32_t)((std::int32_t)p + ((var1 + var2 + c.P7) >> 4));
}

inline std::uint32_t CompensateH(const Trimming& c, std::int32_t adc_H, std::int32_t t_fine) {
  std::int32_t v_x1_u32r = (t_fine - ((std::int32_t)76800));
  v_x1_u32r = (((((adc_H << 14) - (((std::int32_t)c.H4) * (1 << 20)) - (((std::int32_t)c.H5) * v_x1_u32r)) +
                 ((std::int32_t)16384)) >> 15) *
               (((((((v_x1_u32r * ((std::int32_t)c.H6)) >> 10) *
                    (((v_x1_u32r * ((std::int32_t)c.H3)) >> 11) + ((std::int32_t)32768))) >> 10) +
                  ((std::int32_t)2097152)) * ((std::int32_t)c.H2) + 8192) >> 14));
  v_x1_u32r = (v_x1_u32r - (((((v_x1_u32r >> 15) * (v_x1_u32r >> 15)) >> 7) * ((std::int32_t)c.H1)) >> 4));
  v_x1_u32r = (v_x1_u32r < 0 ? 0 : v_x1_u32r);
  v_x1_u32r = (v_x1_u32r > 419430400 ? 419430400 : v_x1_u32r);
  return (std::uint32_t)(v_x1_u32r >> 12);
}

}  // namespace bme280_datasheet
