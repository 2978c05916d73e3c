// The SSD1306 model at the I2C level: control bytes, commands split across
// transfers, GDDRAM addressing and its wrap-around, and what the panel shows
// for the settings that the picture tests through the library leave out.

#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "sim/ssd1306.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::Bytes;
using SimTest::ReadMessage;
using SimTest::WriteMessage;
using Pixels = std::vector<std::pair<int, int>>;

// The usual power-up sequence of a 128x64 module: upright, horizontal mode.
const Bytes kInit64 = {0x00, 0xAE, 0xD5, 0x80, 0xA8, 0x3F, 0xD3, 0x00, 0x40, 0x8D, 0x14, 0x20, 0x00, 0xA1,
                       0xC8, 0xDA, 0x12, 0x81, 0xCF, 0xD9, 0xF1, 0xDB, 0x40, 0xA4, 0xA6, 0xAF};

Pixels Lit(const PanelImage& image) {
  Pixels lit;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      if (image.At(x, y)) lit.emplace_back(x, y);
    }
  }
  return lit;
}

TEST(Ssd1306Test, ControlBytesAndCommandsSplitAcrossTransfers) {
  Ssd1306 display{Ssd1306Config{64}};
  EXPECT_EQ(ReadMessage(display, 2), (Bytes{0x40, 0x40}));  // only the status: display off
  // Arguments in transfers of their own, as some drivers send them.
  for (const Bytes& message : {Bytes{0x00, 0x8D}, Bytes{0x00, 0x14}, Bytes{0x00, 0x20, 0x00, 0xA1, 0xC8, 0x81}}) {
    WriteMessage(display, message);
  }
  // Co set: a single data byte (the contrast waits for a command byte), a
  // single command, then a data stream.
  WriteMessage(display, {0xC0, 0x81, 0x80, 0x10, 0x80, 0xAF, 0x40, 0x03, 0x01});
  EXPECT_EQ(display.Contrast(), 0x10);
  EXPECT_EQ(ReadMessage(display, 1), Bytes{0x00});
  EXPECT_EQ(Lit(display.Shown()), (Pixels{{0, 0}, {1, 0}, {2, 0}, {1, 1}, {0, 7}}));
  // Scrolling commands swallow their arguments (0xAE here is one of them).
  WriteMessage(display, {0x00, 0x26, 0, 0, 7, 7, 0, 0xFF, 0x29, 0, 0, 7, 7, 1, 0xA3, 0x00, 0xAE});
  EXPECT_EQ(ReadMessage(display, 1), Bytes{0x00});
}

TEST(Ssd1306Test, AddressingModesWrapInsideTheirWindow) {
  const struct {
    const char* name;
    Bytes setup;
    std::vector<std::pair<int, int>> written;  // (page, column) of each data byte
  } cases[] = {
      {"horizontal", {0x00, 0x20, 0x00, 0x21, 10, 12, 0x22, 1, 2},
       {{1, 10}, {1, 11}, {1, 12}, {2, 10}, {2, 11}, {2, 12}, {1, 10}}},
      {"vertical", {0x00, 0x20, 0x01, 0x21, 10, 12, 0x22, 6, 7},
       {{6, 10}, {7, 10}, {6, 11}, {7, 11}, {6, 12}, {7, 12}, {6, 10}}},
      {"vertical, last column", {0x00, 0x20, 0x01, 0x21, 127, 127, 0x22, 5, 7}, {{5, 127}, {6, 127}, {7, 127}, {5, 127}}},
      // Page mode stays on its page and wraps to the column start 0x0E/0x17 set.
      {"page", {0x00, 0x20, 0x02, 0xB5, 0x0E, 0x17}, {{5, 126}, {5, 127}, {5, 126}}},
      {"page start and column nibbles", {0x00, 0x20, 0x02, 0xB7, 0x03, 0x12}, {{7, 0x23}, {7, 0x24}}},
  };
  for (const auto& c : cases) {
    Ssd1306 display{Ssd1306Config{64}};
    WriteMessage(display, c.setup);
    Bytes data{0x40};
    std::map<std::pair<int, int>, int> expected;  // a place written twice keeps the later byte
    for (std::size_t i = 0; i < c.written.size(); ++i) {
      data.push_back(static_cast<std::uint8_t>(i + 1));
      expected[c.written[i]] = static_cast<int>(i + 1);
    }
    WriteMessage(display, data);
    for (const auto& [place, byte] : expected) EXPECT_EQ(display.Ram(place.first, place.second), byte) << c.name;
  }
}

TEST(Ssd1306Test, WhatThePanelShows) {
  const struct {
    const char* name;
    int height;
    Bytes commands;  // after the usual initialisation
    Pixels lit;
  } cases[] = {
      {"upright", 64, {0x00}, {{0, 2}, {1, 20}}},
      {"no charge pump: dark", 64, {0x00, 0x8D, 0x10}, {}},
      {"display off: dark", 64, {0x00, 0xAE}, {}},
      // The top half shows the even rows, the bottom half the odd ones.
      {"128x64 with sequential COM pins", 64, {0x00, 0xDA, 0x02}, {{0, 1}, {1, 10}}},
      {"COM left/right remap swaps the halves", 64, {0x00, 0xDA, 0x32}, {{0, 34}, {1, 52}}},
      // The reversed scan starts at COM31, in the middle of the panel.
      {"multiplex ratio 32 on a 128x64 panel", 64, {0x00, 0xA8, 0x1F}, {{0, 34}, {1, 52}}},
      {"128x32 with sequential COM pins", 32, {0x00, 0xA8, 0x1F, 0xDA, 0x02}, {{0, 2}, {1, 20}}},
      // Only every other row is lit, with RAM rows 16..31 on them.
      {"128x32 with alternative COM pins", 32, {0x00, 0xA8, 0x1F, 0xDA, 0x12}, {{1, 9}}},
  };
  for (const auto& c : cases) {
    Ssd1306 display{Ssd1306Config{c.height}};
    WriteMessage(display, kInit64);
    WriteMessage(display, c.commands);
    // RAM row 2 of column 0 and row 20 of column 1, written in vertical mode.
    WriteMessage(display, {0x00, 0x20, 0x01});
    WriteMessage(display, {0x40, 0x04, 0, 0, 0, 0, 0, 0, 0, 0x00, 0x00, 0x10});
    EXPECT_EQ(Lit(display.Shown()), c.lit) << c.name;
  }
  // Rows the multiplex ratio does not reach stay dark under inverse and entire-on.
  Ssd1306 display{Ssd1306Config{64}};
  WriteMessage(display, kInit64);
  WriteMessage(display, {0x00, 0xA8, 0x1F, 0xA7});
  EXPECT_EQ(Lit(display.Shown()).size(), 128u * 32);
  EXPECT_TRUE(display.Shown().At(5, 32));
  WriteMessage(display, {0x00, 0xA6, 0xA5});
  EXPECT_EQ(Lit(display.Shown()).size(), 128u * 32);
  EXPECT_TRUE(display.Shown().At(0, 40));
}

}  // namespace
}  // namespace zavik::I2cSim
