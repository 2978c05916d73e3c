#pragma once
// Generic register-file slave: the first one or two bytes of a write set the
// register pointer, further bytes are stored from there; reads return the
// registers from the pointer on. With auto-increment the pointer advances
// after each data byte (wrapping at the end of the file); read-only registers
// acknowledge writes but keep their value.

#include <cstdint>
#include <set>
#include <vector>

#include "sim/i2c_device.h"

namespace zavik::I2cSim {

struct RegisterFileConfig {
  unsigned addressBytes = 1;          // width of the register address, 1 or 2
  std::uint32_t size = 256;           // number of 8-bit registers
  bool autoIncrement = true;
  std::set<std::uint32_t> readOnly;
  std::vector<std::uint8_t> contents;  // initial values; missing ones are 0
};

class RegisterFile : public I2cDevice {
 public:
  explicit RegisterFile(const RegisterFileConfig& config);

  bool Select(bool read) override;
  bool Write(std::uint8_t byte) override;
  std::uint8_t Read() override;
  void Release(bool stop) override;

  std::uint8_t At(std::uint32_t reg) const { return registers_[reg % registers_.size()]; }
  std::uint32_t Pointer() const { return pointer_; }

 private:
  void Advance();

  RegisterFileConfig config_;
  std::vector<std::uint8_t> registers_;
  std::uint32_t pointer_ = 0;
  unsigned addressBytesSeen_ = 0;
  std::uint32_t pendingPointer_ = 0;
  bool writing_ = false;
};

}  // namespace zavik::I2cSim
