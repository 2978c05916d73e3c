#pragma once
// Writes a panel picture as a PNG file, one image pixel per panel pixel, lit
// pixels white and the others black. The file is written under a temporary
// name and renamed into place, so that a viewer watching it never reads half
// a picture.

#include <string>

#include "sim/panel_image.h"

namespace zavik::I2cSim {

constexpr unsigned char kPngLit = 255;
constexpr unsigned char kPngDark = 0;

// False when the file cannot be written or moved into place.
bool WritePng(const std::string& path, const PanelImage& image);

}  // namespace zavik::I2cSim
