#include "sim/text_art.h"

namespace zavik::I2cSim {

namespace {
// UTF-8 of the space, upper half, lower half and full block, indexed by
// (upper lit) + 2 * (lower lit).
const char* const kCells[4] = {" ", "\u2580", "\u2584", "\u2588"};
}  // namespace

std::vector<std::string> TextArt(const PanelImage& image, const std::string& prefix) {
  std::vector<std::string> lines;
  for (int y = 0; y < image.height; y += 2) {
    std::string line = prefix;
    for (int x = 0; x < image.width; ++x) {
      const bool lower = y + 1 < image.height && image.At(x, y + 1);
      line += kCells[(image.At(x, y) ? 1 : 0) + (lower ? 2 : 0)];
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace zavik::I2cSim
