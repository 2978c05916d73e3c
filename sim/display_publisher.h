#pragma once
// Shows the pictures of the simulated displays to a person: as a PNG file per
// display in a directory (board<number>-0x3C.png), and as text art for the
// trace, each line prefixed with "board <number> 0x3C | ".

#include <cstdint>
#include <string>
#include <vector>

#include "sim/panel_image.h"

namespace zavik::I2cSim {

class DisplayPublisher {
 public:
  // An empty directory writes no files.
  explicit DisplayPublisher(std::string directory) : directory_(std::move(directory)) {}

  // Writes the file and returns the trace lines: the art, or a complaint
  // when the file could not be written.
  std::vector<std::string> Publish(std::uint16_t board, std::uint16_t address, const PanelImage& image) const;

  static std::string FileName(std::uint16_t board, std::uint16_t address);
  static std::string ArtPrefix(std::uint16_t board, std::uint16_t address);

 private:
  std::string directory_;
};

}  // namespace zavik::I2cSim
