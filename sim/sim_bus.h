#pragma once
// The devices on one board's bus, each with its address and its faults.

#include <cstdint>
#include <memory>
#include <vector>

#include "sim/bench.h"
#include "sim/clock.h"
#include "sim/display.h"
#include "sim/i2c_device.h"

namespace zavik::I2cSim {

struct AttachedDevice {
  std::uint16_t address = 0;
  bool tenBit = false;
  DeviceFaults faults;
  std::unique_ptr<I2cDevice> device;
};

class SimBus {
 public:
  SimBus() = default;
  SimBus(const std::vector<BenchDevice>& devices, const Clock& clock);

  void Attach(std::uint16_t address, bool tenBit, std::unique_ptr<I2cDevice> device, DeviceFaults faults = {});

  AttachedDevice* Find(std::uint16_t address, bool tenBit);
  // Some 10-bit device has these address bits 9-8 (it acknowledges the
  // first address byte).
  bool AnyTenBit(std::uint8_t highBits) const;

  struct AttachedDisplay {
    std::uint16_t address;
    const Display* display;
  };
  std::vector<AttachedDisplay> Displays() const;

 private:
  std::vector<AttachedDevice> devices_;
};

std::unique_ptr<I2cDevice> MakeDevice(const BenchDevice& setup, const Clock& clock);

}  // namespace zavik::I2cSim
