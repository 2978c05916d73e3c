// The SSD1306 model at the I2C level: control bytes, commands split across
// transfers, GDDRAM addressing and its wrap-around, and what the panel shows
// for the settings that the picture tests through the library leave out.
// Also the text art of a picture.

#include <gtest/gtest.h>

#include <utility>

#include "sim/ssd1306.h"
#include "sim/text_art.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::Bytes;
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

class Ssd1306Test : public ::testing::Test {
 protected:
  void Send(const Bytes& bytes) { SimTest::WriteMessage(display, bytes); }
  Ssd1306 display{Ssd1306Config{64}};
};

TEST_F(Ssd1306Test, ControlBytesAndCommandsSplitAcrossTransfers) {
  EXPECT_EQ(SimTest::ReadMessage(display, 2), (Bytes{0x40, 0x40}));  // only the status: display off
  // Arguments in transfers of their own, as some drivers send them.
  for (const Bytes& message : {Bytes{0x00, 0xA8}, Bytes{0x00, 0x3F}, Bytes{0x00, 0x8D}, Bytes{0x00, 0x14},
                               Bytes{0x00, 0x20, 0x00, 0xA1, 0xC8}}) {
    Send(message);
  }
  // Co set: a single data byte, a single command, then a data stream.
  Send({0xC0, 0x81, 0x80, 0xAF, 0x40, 0x03, 0x01});
  EXPECT_EQ(display.Ram(0, 0), 0x81);
  EXPECT_EQ(display.Ram(0, 1), 0x03);
  EXPECT_EQ(display.Ram(0, 2), 0x01);
  EXPECT_EQ(SimTest::ReadMessage(display, 1), Bytes{0x00});
  EXPECT_EQ(Lit(display.Shown()), (Pixels{{0, 0}, {1, 0}, {2, 0}, {1, 1}, {0, 7}}));
  // Contrast with its argument in the next transfer; data bytes in between
  // wait for the command to be complete.
  Send({0x00, 0x81});
  Send({0x00, 0x10});
  EXPECT_EQ(display.Contrast(), 0x10);
  // Scrolling commands swallow their arguments (0xAF here is one of them).
  Send({0x00, 0x26, 0x00, 0x00, 0x07, 0x07, 0x00, 0xFF, 0x29, 0x00, 0x00, 0x07, 0x07, 0x01, 0xA3, 0x00, 0xAE});
  EXPECT_EQ(SimTest::ReadMessage(display, 1), Bytes{0x00});
}

TEST_F(Ssd1306Test, AddressingModesWrapInsideTheirWindow) {
  struct Case {
    const char* name;
    Bytes setup;
    std::vector<std::pair<int, int>> written;  // (page, column) of each data byte
  };
  const Case cases[] = {
      {"horizontal", {0x00, 0x20, 0x00, 0x21, 10, 12, 0x22, 1, 2},
       {{1, 10}, {1, 11}, {1, 12}, {2, 10}, {2, 11}, {2, 12}, {1, 10}}},
      {"vertical", {0x00, 0x20, 0x01, 0x21, 10, 12, 0x22, 6, 7},
       {{6, 10}, {7, 10}, {6, 11}, {7, 11}, {6, 12}, {7, 12}, {6, 10}}},
      {"vertical, full height", {0x00, 0x20, 0x01, 0x21, 127, 127, 0x22, 0, 7},
       {{0, 127}, {1, 127}, {2, 127}, {3, 127}, {4, 127}, {5, 127}, {6, 127}, {7, 127}, {0, 127}}},
      // Page mode stays on its page and wraps to the column start 0x0E/0x17 set.
      {"page", {0x00, 0x20, 0x02, 0xB5, 0x0E, 0x17}, {{5, 126}, {5, 127}, {5, 126}}},
      {"page start and column nibbles", {0x00, 0x20, 0x02, 0xB7, 0x03, 0x12}, {{7, 0x23}, {7, 0x24}}},
  };
  for (const Case& c : cases) {
    Ssd1306 fresh{Ssd1306Config{64}};
    SimTest::WriteMessage(fresh, c.setup);
    Bytes data{0x40};
    for (std::size_t i = 0; i < c.written.size(); ++i) data.push_back(static_cast<std::uint8_t>(i + 1));
    SimTest::WriteMessage(fresh, data);
    // The last entry revisits a place: it holds the last byte written there.
    for (std::size_t i = 0; i < c.written.size(); ++i) {
      const auto [page, column] = c.written[i];
      std::size_t last = i;
      for (std::size_t j = i; j < c.written.size(); ++j) {
        if (c.written[j] == c.written[i]) last = j;
      }
      EXPECT_EQ(fresh.Ram(page, column), last + 1) << c.name << " byte " << i;
    }
  }
}

TEST_F(Ssd1306Test, WhatThePanelShows) {
  // RAM row 2 of column 0 and row 20 of column 1, written in vertical mode.
  const Bytes pattern = {0x40, 0x04, 0, 0, 0, 0, 0, 0, 0, 0x00, 0x00, 0x10};
  struct Case {
    const char* name;
    int height;
    Bytes commands;  // after the usual initialisation
    Pixels lit;
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    Ssd1306 fresh{Ssd1306Config{c.height}};
    SimTest::WriteMessage(fresh, kInit64);
    SimTest::WriteMessage(fresh, c.commands);
    SimTest::WriteMessage(fresh, {0x00, 0x20, 0x01});
    SimTest::WriteMessage(fresh, pattern);
    EXPECT_EQ(Lit(fresh.Shown()), c.lit) << c.name;
  }
  // Rows the multiplex ratio does not reach stay dark under inverse and entire-on.
  Send(kInit64);
  Send({0x00, 0xA8, 0x1F, 0xA7});
  const PanelImage inverse = display.Shown();
  EXPECT_FALSE(inverse.At(5, 0));
  EXPECT_TRUE(inverse.At(5, 32));
  Send({0x00, 0xA6, 0xA5});
  EXPECT_EQ(Lit(display.Shown()).size(), 128u * 32);
  EXPECT_TRUE(display.Shown().At(0, 40));
}

TEST(TextArtTest, TwoPixelRowsPerLineWithHalfBlocks) {
  PanelImage image(3, 3);
  for (const auto& [x, y] : Pixels{{0, 0}, {2, 0}, {0, 1}, {1, 1}, {1, 2}}) image.Set(x, y, true);
  EXPECT_EQ(TextArt(image, "board 1 0x3C | "),
            (std::vector<std::string>{"board 1 0x3C | \u2588\u2584\u2580", "board 1 0x3C |  \u2580 "}));
}

}  // namespace
}  // namespace zavik::I2cSim
