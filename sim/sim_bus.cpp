#include "sim/sim_bus.h"

#include "sim/eeprom.h"
#include "sim/register_file.h"
#include "sim/temperature_sensor.h"

namespace zavik::I2cSim {

std::unique_ptr<I2cDevice> MakeDevice(const DeviceSpec& spec, const Clock& clock) {
  switch (spec.kind) {
    case DeviceKind::kEeprom: return std::make_unique<Eeprom>(spec.eeprom, clock);
    case DeviceKind::kTemperatureSensor: return std::make_unique<TemperatureSensor>(spec.temperature);
    case DeviceKind::kRegisterFile: break;
  }
  return std::make_unique<RegisterFile>(spec.registers);
}

SimBus::SimBus(const std::vector<DeviceSpec>& specs, const Clock& clock) {
  for (const DeviceSpec& spec : specs) Attach(spec.address, spec.tenBit, MakeDevice(spec, clock), spec.faults);
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

}  // namespace zavik::I2cSim
