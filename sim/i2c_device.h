#pragma once
// A slave on a simulated bus, seen byte by byte as the master drives it.
// The bus engine calls Select when the device's address byte is on the bus,
// then Write or Read for each data byte, and Release when the message ends
// with a STOP or a repeated START.

#include <cstdint>

namespace zavik::I2cSim {

class I2cDevice {
 public:
  virtual ~I2cDevice() = default;
  // The device's address with the R/W bit; true acknowledges it.
  virtual bool Select(bool read) = 0;
  // A byte from the master; true acknowledges it.
  virtual bool Write(std::uint8_t byte) = 0;
  // The next byte the device drives onto the bus.
  virtual std::uint8_t Read() = 0;
  // The message is over: stop is true for a STOP, false for a repeated START.
  virtual void Release(bool stop) = 0;
};

}  // namespace zavik::I2cSim
