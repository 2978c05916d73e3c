#pragma once
// A panel picture as lines of text for a terminal: each character stands for
// two pixel rows (Unicode half blocks), so a 128x64 panel takes 128 columns
// by 32 lines. Every line starts with the given prefix, so that the art can
// sit among other trace lines without being mistaken for them.

#include <string>
#include <vector>

#include "sim/panel_image.h"

namespace zavik::I2cSim {

std::vector<std::string> TextArt(const PanelImage& image, const std::string& prefix);

}  // namespace zavik::I2cSim
