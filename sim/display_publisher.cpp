#include "sim/display_publisher.h"

#include <cstdio>

#include "sim/png_writer.h"
#include "sim/text_art.h"

namespace zavik::I2cSim {

namespace {
std::string HexAddress(std::uint16_t address) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned>(address));
  return text;
}
}  // namespace

std::string DisplayPublisher::FileName(std::uint16_t board, std::uint16_t address) {
  return "board" + std::to_string(board) + "-" + HexAddress(address) + ".png";
}

std::string DisplayPublisher::ArtPrefix(std::uint16_t board, std::uint16_t address) {
  return "board " + std::to_string(board) + " " + HexAddress(address) + " | ";
}

std::vector<std::string> DisplayPublisher::Publish(std::uint16_t board, std::uint16_t address,
                                                   const PanelImage& image) const {
  if (!directory_.empty()) {
    const std::string path = directory_ + "/" + FileName(board, address);
    if (!WritePng(path, image)) {
      return {"board " + std::to_string(board) + " " + HexAddress(address) + ": cannot write " + path};
    }
  }
  return TextArt(image, ArtPrefix(board, address));
}

}  // namespace zavik::I2cSim
