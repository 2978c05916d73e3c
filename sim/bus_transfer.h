#pragma once
// One transfer as the scheduler runs it: the bitrates it was configured with
// and its messages in order, each ending with a repeated START or (the last)
// a STOP.

#include <cstdint>
#include <vector>

namespace zavik::I2cSim {

struct BusMessage {
  bool read = false;
  // The address byte without the R/W bit: a 7-bit address, or 0x78 | bits 9-8
  // of a 10-bit address.
  std::uint8_t header = 0;
  // Writes: every byte after the address byte, for a 10-bit address the low
  // address byte first.
  std::vector<std::uint8_t> data;
  std::uint32_t readCount = 0;
  bool last = false;

  bool TenBit() const { return (header & 0x7C) == 0x78; }
};

struct BusTransfer {
  std::uint32_t bitrate = 100000;
  std::uint32_t highSpeedBitrate = 0;
  std::vector<BusMessage> messages;
};

}  // namespace zavik::I2cSim
