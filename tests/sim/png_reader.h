#pragma once
// Reads back a picture the simulator wrote, with a PNG decoder that is not the
// encoder it used: white pixels become lit, black ones dark, and any other
// value 2, so that a picture with stray grey pixels never compares equal.

#include <optional>
#include <string>

#include "sim/panel_image.h"

namespace zavik::I2cSim::SimTest {

std::optional<PanelImage> ReadPng(const std::string& path);

}  // namespace zavik::I2cSim::SimTest
