#pragma once
// A simulated device with a panel: the scheduler core asks it after each
// transfer what the panel shows, and publishes the picture when it changed.

#include "sim/panel_image.h"

namespace zavik::I2cSim {

class Display {
 public:
  virtual ~Display() = default;
  virtual PanelImage Shown() const = 0;
};

}  // namespace zavik::I2cSim
