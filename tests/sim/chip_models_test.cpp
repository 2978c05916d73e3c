// The BME280 and SSD1306 models through the library's exports, as a host
// program uses them, against the simulator with sim/benches/chip_models.json
// (run under tests/with_sim.py with --display-dir, which names the picture
// directory in I2CZAVIK_SIM_DISPLAY_DIR).

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bme280_datasheet.h"
#include "i2czavik.h"
#include "png_reader.h"

namespace {

using Bytes = std::vector<unsigned char>;
using zavik::I2cSim::PanelImage;
namespace ds = bme280_datasheet;

std::string Status() {
  char buffer[I2CZAVIK_STATUS_TEXT_SIZE] = {};
  return UrdGetStatus(buffer);
}

// One register (or control) byte, then the bytes.
void Write(unsigned char slave, unsigned char reg, const Bytes& bytes) {
  const unsigned char address[2] = {reg, static_cast<unsigned char>(slave << 1)};
  ASSERT_EQ(UrdSetLongReg(2, static_cast<int>(bytes.size()), address, bytes.data()), 1) << Status();
}

Bytes Read(unsigned char slave, unsigned char reg, int count) {
  const unsigned char address[2] = {reg, static_cast<unsigned char>(slave << 1)};
  Bytes bytes(static_cast<std::size_t>(count));
  EXPECT_EQ(UrdGetLongReg(2, count, address, bytes.data()), 1) << Status();
  return bytes;
}

class ChipModels : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::getenv("I2CZAVIK_SIM_DISPLAY_DIR") == nullptr) GTEST_SKIP() << "needs the simulator harness";
    ASSERT_EQ(UrdOpen(), 1) << Status();
  }
  void TearDown() override { UrdClose(); }
};

TEST_F(ChipModels, Bme280ReadingsCompensateToTheBenchEnvironment) {
  struct Sensor {
    unsigned char address;
    double centiCelsius, pascal, humidity;
  };
  for (const Sensor& sensor : {Sensor{0x76, -1250, 98550, 12}, Sensor{0x77, 3825, 103275, 88.5}}) {
    const Bytes low = Read(sensor.address, 0x88, 26), high = Read(sensor.address, 0xE1, 7);
    const ds::Trimming trim = ds::Parse(low.data(), high.data());
    // Forced, then normal mode with 0.5 ms standby; x16 everywhere, so that
    // 20-bit readings leave only the formulas' own rounding. Each waits the
    // datasheet's maximum measurement time, 112.8 ms.
    for (unsigned char mode : {0x01, 0x03}) {
      SCOPED_TRACE(::testing::Message() << "sensor " << int(sensor.address) << " mode " << int(mode));
      Write(sensor.address, 0xF2, {0x05, 0xF4, static_cast<unsigned char>(0xB4 | mode)});
      std::this_thread::sleep_for(std::chrono::microseconds(112800));
      const Bytes data = Read(sensor.address, 0xF7, 8);
      std::int32_t fine = 0;
      EXPECT_NEAR(ds::CompensateT(trim, data[3] << 12 | data[4] << 4 | data[5] >> 4, fine), sensor.centiCelsius, 1);
      EXPECT_NEAR(ds::CompensateP(trim, data[0] << 12 | data[1] << 4 | data[2] >> 4, fine), sensor.pascal, 5);
      EXPECT_NEAR(ds::CompensateH(trim, data[6] << 8 | data[7], fine) / 1024.0, sensor.humidity, 0.01);
    }
    Write(sensor.address, 0xF4, {0x00});
  }
}

// An asymmetric pattern in GDDRAM coordinates (column 0..127, row 0..63).
bool Pattern(int column, int row) {
  return (column * 7 + row * 3) % 11 == 0 || (column < 20 && row < 10) || (row == 40 && column > 90);
}

Bytes PageMajor(int pages) {
  Bytes bytes;
  for (int page = 0; page < pages; ++page) {
    for (int column = 0; column < 128; ++column) {
      unsigned char byte = 0;
      for (int bit = 0; bit < 8; ++bit) byte |= Pattern(column, page * 8 + bit) ? 1 << bit : 0;
      bytes.push_back(byte);
    }
  }
  return bytes;
}

// The pattern drawn in an addressing mode (0 horizontal, 1 vertical, 2 page);
// control byte 0x00 sends commands, 0x40 data.
void Draw(unsigned char display, unsigned char mode) {
  const Bytes all = PageMajor(8);
  if (mode == 2) {
    Write(display, 0x00, {0x20, 0x02});
    for (int page = 0; page < 8; ++page) {
      Write(display, 0x00, {static_cast<unsigned char>(0xB0 + page), 0x00, 0x10});
      Write(display, 0x40, Bytes(all.begin() + page * 128, all.begin() + page * 128 + 128));
    }
    return;
  }
  Bytes ordered = all;
  for (int i = 0; mode == 1 && i < 1024; ++i) ordered[i] = all[(i % 8) * 128 + i / 8];  // column by column
  Write(display, 0x00, {0x20, mode, 0x21, 0, 127, 0x22, 0, 7});
  Write(display, 0x40, ordered);
}

TEST_F(ChipModels, Ssd1306PicturesShowGddramAsTheSettingsSay) {
  struct Case {
    const char* name;
    unsigned char mode;
    bool segmentRemap, comReversed;
    int startLine, offset;
  };
  const Case cases[] = {
      {"horizontal, upright", 0, true, true, 0, 0},
      {"vertical, mirrored left-right", 1, false, true, 0, 0},
      {"page mode, upside down", 2, true, false, 0, 0},
      {"horizontal, rotated, start line 16", 0, false, false, 16, 0},
      {"vertical, offset 8", 1, true, true, 0, 8},
      {"page mode, start line 5 and offset 3", 2, true, true, 5, 3},
  };
  for (const Case& c : cases) {
    Write(0x3C, 0x00, {0xAE, 0xA8, 0x3F, 0xDA, 0x12, 0x8D, 0x14});
    Write(0x3C, 0x00, {static_cast<unsigned char>(c.segmentRemap ? 0xA1 : 0xA0), static_cast<unsigned char>(c.comReversed ? 0xC8 : 0xC0),
                       static_cast<unsigned char>(0x40 + c.startLine), 0xD3, static_cast<unsigned char>(c.offset), 0xAF});
    Draw(0x3C, c.mode);
    // 0xA0 mirrors the picture left-right, 0xC0 turns it upside down, start
    // line and offset roll it up.
    PanelImage expected(128, 64);
    for (int y = 0; y < 64; ++y) {
      for (int x = 0; x < 128; ++x) {
        const int row = ((c.comReversed ? y : 63 - y) + c.startLine + c.offset) % 64;
        expected.Set(x, y, Pattern(c.segmentRemap ? x : 127 - x, row));
      }
    }
    const std::string picture = std::string(std::getenv("I2CZAVIK_SIM_DISPLAY_DIR")) + "/board1-0x3C.png";
    EXPECT_EQ(zavik::I2cSim::SimTest::ReadPng(picture), expected) << c.name;
  }
}

}  // namespace
