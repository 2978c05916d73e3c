#pragma once
// What a display panel shows: one flag per pixel, row by row from the top
// left, as a person looking at the module sees it.

#include <cstdint>
#include <vector>

namespace zavik::I2cSim {

struct PanelImage {
  PanelImage() = default;
  PanelImage(int width, int height) : width(width), height(height), lit(static_cast<std::size_t>(width * height), 0) {}

  bool At(int x, int y) const { return lit[static_cast<std::size_t>(y * width + x)] != 0; }
  void Set(int x, int y, bool on) { lit[static_cast<std::size_t>(y * width + x)] = on ? 1 : 0; }

  bool operator==(const PanelImage& other) const {
    return width == other.width && height == other.height && lit == other.lit;
  }
  bool operator!=(const PanelImage& other) const { return !(*this == other); }

  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> lit;
};

}  // namespace zavik::I2cSim
