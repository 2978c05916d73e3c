/* climate_display: a host program that reads a BME280 and writes onto an
   SSD1306 display through the library, as one would on real hardware.

     climate_display [WORD]

   It measures once in forced mode, prints temperature, pressure and humidity
   compensated with the datasheet's double-precision formulas, and shows WORD
   (default HELLO) in large letters on the display with the reading below it.
   Against the simulator's default bench the sensor is at 0x76 and the
   128x64 display at 0x3C. */
#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include "i2czavik.h"

#define SENSOR 0x76
#define DISPLAY 0x3C

static int Fail(const char* what) {
  char status[I2CZAVIK_STATUS_TEXT_SIZE];
  fprintf(stderr, "climate_display: %s: %s\n", what, UrdGetStatus(status));
  UrdClose();
  return 1;
}

/* The first address byte is a register (BME280) or a control byte (SSD1306). */
static int Put(unsigned char slave, unsigned char first, const unsigned char* bytes, int count) {
  unsigned char address[2];
  address[0] = first;
  address[1] = (unsigned char)(slave << 1);
  return UrdSetLongReg(2, count, address, bytes);
}

static int Get(unsigned char slave, unsigned char reg, unsigned char* bytes, int count) {
  unsigned char address[2];
  address[0] = reg;
  address[1] = (unsigned char)(slave << 1);
  return UrdGetLongReg(2, count, address, bytes);
}

/* ---- BME280 ---------------------------------------------------------- */

typedef struct Trimming {
  double T1, T2, T3, P1, P2, P3, P4, P5, P6, P7, P8, P9, H1, H2, H3, H4, H5, H6;
} Trimming;

static int S16(const unsigned char* p) { return (short)(p[0] | p[1] << 8); }
static int U16(const unsigned char* p) { return p[0] | p[1] << 8; }

static void ParseTrimming(const unsigned char* low, const unsigned char* high, Trimming* t) {
  double* p[9];
  int i;
  p[0] = &t->P1, p[1] = &t->P2, p[2] = &t->P3, p[3] = &t->P4, p[4] = &t->P5;
  p[5] = &t->P6, p[6] = &t->P7, p[7] = &t->P8, p[8] = &t->P9;
  t->T1 = U16(low);
  t->T2 = S16(low + 2);
  t->T3 = S16(low + 4);
  *p[0] = U16(low + 6);
  for (i = 1; i < 9; ++i) *p[i] = S16(low + 6 + 2 * i);
  t->H1 = low[25];
  t->H2 = S16(high);
  t->H3 = high[2];
  t->H4 = (signed char)high[3] * 16 + (high[4] & 0x0F);
  t->H5 = (signed char)high[5] * 16 + (high[4] >> 4);
  t->H6 = (signed char)high[6];
}

/* The datasheet's double-precision compensation: degrees Celsius, Pa, %RH. */
static double Temperature(const Trimming* c, long adc, double* fine) {
  double var1 = (adc / 16384.0 - c->T1 / 1024.0) * c->T2;
  double var2 = (adc / 131072.0 - c->T1 / 8192.0) * (adc / 131072.0 - c->T1 / 8192.0) * c->T3;
  *fine = var1 + var2;
  return *fine / 5120.0;
}

static double Pressure(const Trimming* c, long adc, double fine) {
  double var1 = fine / 2.0 - 64000.0, var2, p;
  var2 = var1 * var1 * c->P6 / 32768.0;
  var2 = var2 + var1 * c->P5 * 2.0;
  var2 = var2 / 4.0 + c->P4 * 65536.0;
  var1 = (c->P3 * var1 * var1 / 524288.0 + c->P2 * var1) / 524288.0;
  var1 = (1.0 + var1 / 32768.0) * c->P1;
  if (var1 == 0.0) return 0.0;
  p = 1048576.0 - adc;
  p = (p - var2 / 4096.0) * 6250.0 / var1;
  var1 = c->P9 * p * p / 2147483648.0;
  var2 = p * c->P8 / 32768.0;
  return p + (var1 + var2 + c->P7) / 16.0;
}

static double Humidity(const Trimming* c, long adc, double fine) {
  double h = fine - 76800.0;
  h = (adc - (c->H4 * 64.0 + c->H5 / 16384.0 * h)) *
      (c->H2 / 65536.0 * (1.0 + c->H6 / 67108864.0 * h * (1.0 + c->H3 / 67108864.0 * h)));
  h = h * (1.0 - c->H1 * h / 524288.0);
  return h > 100.0 ? 100.0 : h < 0.0 ? 0.0 : h;
}

/* One forced measurement with x1 oversampling; waits on the status register. */
static int Measure(double* celsius, double* hectopascal, double* humidity) {
  static const unsigned char start[3] = {0x01, 0xF4, 0x25}; /* ctrl_hum x1; ctrl_meas x1 x1 forced */
  unsigned char id, low[26], high[7], status = 0x08, data[8];
  Trimming trimming;
  double fine;
  int polls;
  if (!Get(SENSOR, 0xD0, &id, 1) || id != 0x60) return 0;
  if (!Get(SENSOR, 0x88, low, 26) || !Get(SENSOR, 0xE1, high, 7)) return 0;
  ParseTrimming(low, high, &trimming);
  if (!Put(SENSOR, 0xF2, start, 3)) return 0; /* register/data pairs */
  for (polls = 0; (status & 0x08) && polls < 10000; ++polls) {
    if (!Get(SENSOR, 0xF3, &status, 1)) return 0;
  }
  if (!Get(SENSOR, 0xF7, data, 8)) return 0;
  *celsius = Temperature(&trimming, (long)data[3] << 12 | data[4] << 4 | data[5] >> 4, &fine);
  *hectopascal = Pressure(&trimming, (long)data[0] << 12 | data[1] << 4 | data[2] >> 4, fine) / 100.0;
  *humidity = Humidity(&trimming, (long)data[6] << 8 | data[7], fine);
  return 1;
}

/* ---- SSD1306 --------------------------------------------------------- */

/* A 5x7 font, five columns per glyph, bit 0 at the top. */
static const char kGlyphs[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ .-%";
static const unsigned char kFont[][5] = {
    {0x3E, 0x51, 0x49, 0x45, 0x3E}, {0x00, 0x42, 0x7F, 0x40, 0x00}, {0x42, 0x61, 0x51, 0x49, 0x46},
    {0x21, 0x41, 0x45, 0x4B, 0x31}, {0x18, 0x14, 0x12, 0x7F, 0x10}, {0x27, 0x45, 0x45, 0x45, 0x39},
    {0x3C, 0x4A, 0x49, 0x49, 0x30}, {0x01, 0x71, 0x09, 0x05, 0x03}, {0x36, 0x49, 0x49, 0x49, 0x36},
    {0x06, 0x49, 0x49, 0x29, 0x1E}, {0x7E, 0x11, 0x11, 0x11, 0x7E}, {0x7F, 0x49, 0x49, 0x49, 0x36},
    {0x3E, 0x41, 0x41, 0x41, 0x22}, {0x7F, 0x41, 0x41, 0x22, 0x1C}, {0x7F, 0x49, 0x49, 0x49, 0x41},
    {0x7F, 0x09, 0x09, 0x09, 0x01}, {0x3E, 0x41, 0x49, 0x49, 0x7A}, {0x7F, 0x08, 0x08, 0x08, 0x7F},
    {0x00, 0x41, 0x7F, 0x41, 0x00}, {0x20, 0x40, 0x41, 0x3F, 0x01}, {0x7F, 0x08, 0x14, 0x22, 0x41},
    {0x7F, 0x40, 0x40, 0x40, 0x40}, {0x7F, 0x02, 0x0C, 0x02, 0x7F}, {0x7F, 0x04, 0x08, 0x10, 0x7F},
    {0x3E, 0x41, 0x41, 0x41, 0x3E}, {0x7F, 0x09, 0x09, 0x09, 0x06}, {0x3E, 0x41, 0x51, 0x21, 0x5E},
    {0x7F, 0x09, 0x19, 0x29, 0x46}, {0x46, 0x49, 0x49, 0x49, 0x31}, {0x01, 0x01, 0x7F, 0x01, 0x01},
    {0x3F, 0x40, 0x40, 0x40, 0x3F}, {0x1F, 0x20, 0x40, 0x20, 0x1F}, {0x3F, 0x40, 0x38, 0x40, 0x3F},
    {0x63, 0x14, 0x08, 0x14, 0x63}, {0x07, 0x08, 0x70, 0x08, 0x07}, {0x61, 0x51, 0x49, 0x45, 0x43},
    {0x00, 0x00, 0x00, 0x00, 0x00}, {0x00, 0x60, 0x60, 0x00, 0x00}, {0x08, 0x08, 0x08, 0x08, 0x08},
    {0x23, 0x13, 0x08, 0x64, 0x62},
};

/* The frame in GDDRAM order: 8 pages of 128 columns. */
static unsigned char frame[8 * 128];

static void Plot(int x, int y) {
  if (x >= 0 && x < 128 && y >= 0 && y < 64) frame[(y / 8) * 128 + x] |= (unsigned char)(1 << (y % 8));
}

/* Text centred on the row y, each font pixel drawn as scale x scale. */
static void DrawText(const char* text, int y, int scale) {
  int x = (128 - (int)strlen(text) * 6 * scale + scale) / 2, column, row, dx, dy;
  for (; *text; ++text, x += 6 * scale) {
    const char* glyph = strchr(kGlyphs, toupper((unsigned char)*text));
    const unsigned char* bits = kFont[glyph && *glyph ? glyph - kGlyphs : 36];
    for (column = 0; column < 5; ++column)
      for (row = 0; row < 7; ++row)
        if (bits[column] >> row & 1)
          for (dx = 0; dx < scale; ++dx)
            for (dy = 0; dy < scale; ++dy) Plot(x + column * scale + dx, y + row * scale + dy);
  }
}

static int Show(void) {
  /* The usual set-up of a 128x64 module: upright (0xA1, 0xC8), COM pins
     0x12, charge pump on before display on, horizontal addressing. */
  static const unsigned char init[] = {0xAE, 0xD5, 0x80, 0xA8, 0x3F, 0xD3, 0x00, 0x40, 0x8D, 0x14, 0x20, 0x00,
                                       0xA1, 0xC8, 0xDA, 0x12, 0x81, 0xCF, 0xD9, 0xF1, 0xDB, 0x40, 0xA4, 0xA6,
                                       0x21, 0x00, 0x7F, 0x22, 0x00, 0x07, 0xAF};
  return Put(DISPLAY, 0x00, init, (int)sizeof init) && Put(DISPLAY, 0x40, frame, (int)sizeof frame);
}

int main(int argc, char** argv) {
  const char* word = argc > 1 ? argv[1] : "HELLO";
  double celsius, hectopascal, humidity;
  char line[32];
  if (!UrdOpen()) return Fail("open");
  if (!Measure(&celsius, &hectopascal, &humidity)) return Fail("BME280 at 0x76");
  printf("temperature %.2f C, pressure %.2f hPa, humidity %.2f %%RH\n", celsius, hectopascal, humidity);
  DrawText(word, 8, 2);
  sprintf(line, "%.1fC %.0f%%", celsius, humidity);
  DrawText(line, 40, 1);
  sprintf(line, "%.1f HPA", hectopascal);
  DrawText(line, 52, 1);
  if (!Show()) return Fail("SSD1306 at 0x3C");
  printf("wrote \"%s\" to the display at 0x3C\n", word);
  UrdClose();
  return 0;
}
