#include "sim/sim_bus.h"

#include "sim/bme280.h"
#include "sim/eeprom.h"
#include "sim/register_file.h"
#include "sim/ssd1306.h"
#include "sim/temperature_sensor.h"

namespace zavik::I2cSim {

std::unique_ptr<I2cDevice> MakeDevice(const BenchDevice& setup, const Clock& clock) {
  switch (setup.kind) {
    case DeviceKind::kEeprom: return std::make_unique<Eeprom>(setup.eeprom, clock);
    case DeviceKind::kTemperatureSensor: return std::make_unique<TemperatureSensor>(setup.temperature);
    case DeviceKind::kBme280: return std::make_unique<Bme280>(setup.bme280, clock);
    case DeviceKind::kSsd1306: return std::make_unique<Ssd1306>(setup.ssd1306);
    case DeviceKind::kRegisterFile: break;
  }
  return std::make_unique<RegisterFile>(setup.registers);
}

SimBus::SimBus(const std::vector<BenchDevice>& devices, const Clock& clock) {
  for (const BenchDevice& setup : devices) Attach(setup.address, setup.tenBit, MakeDevice(setup, clock), setup.faults);
}

void SimBus::Attach(std::uint16_t address, bool tenBit, std::unique_ptr<I2cDevice> device, DeviceFaults faults) {
  devices_.push_back(AttachedDevice{address, tenBit, faults, std::move(device)});
}

AttachedDevice* SimBus::Find(std::uint16_t address, bool tenBit) {
  for (AttachedDevice& attached : devices_) {
    if (attached.address == address && attached.tenBit == tenBit) return &attached;
  }
  return nullptr;
}

bool SimBus::AnyTenBit(std::uint8_t highBits) const {
  for (const AttachedDevice& attached : devices_) {
    if (attached.tenBit && (attached.address >> 8) == highBits) return true;
  }
  return false;
}

std::vector<SimBus::AttachedDisplay> SimBus::Displays() const {
  std::vector<AttachedDisplay> displays;
  for (const AttachedDevice& attached : devices_) {
    if (const auto* display = dynamic_cast<const Display*>(attached.device.get())) {
      displays.push_back(AttachedDisplay{attached.address, display});
    }
  }
  return displays;
}

}  // namespace zavik::I2cSim
