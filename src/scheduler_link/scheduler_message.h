#pragma once
// The one record exchanged with the I2C scheduler: 13 packed bytes, a
// little-endian u32 code and nine payload bytes. Multi-byte payload fields sit
// at unaligned offsets, so every accessor reads and writes byte by byte.

#include <cstddef>
#include <cstdint>
#include <deque>

namespace zavik::I2cScheduler {

constexpr std::size_t kMessageSize = 13;

struct SchedulerMessage {
  std::uint8_t bytes[kMessageSize] = {};

  static SchedulerMessage WithCode(std::uint32_t code) {
    SchedulerMessage m;
    m.SetCode(code);
    return m;
  }

  std::uint32_t Code() const { return U32At(0); }
  void SetCode(std::uint32_t code) { SetU32At(0, code); }

  std::uint8_t Byte(std::size_t offset) const { return bytes[offset]; }
  void SetByte(std::size_t offset, std::uint8_t value) { bytes[offset] = value; }

  std::uint16_t U16At(std::size_t offset) const {
    return static_cast<std::uint16_t>(bytes[offset] | (bytes[offset + 1] << 8));
  }
  void SetU16At(std::size_t offset, std::uint16_t value) {
    bytes[offset] = static_cast<std::uint8_t>(value);
    bytes[offset + 1] = static_cast<std::uint8_t>(value >> 8);
  }

  std::uint32_t U32At(std::size_t offset) const {
    return static_cast<std::uint32_t>(bytes[offset]) |
           (static_cast<std::uint32_t>(bytes[offset + 1]) << 8) |
           (static_cast<std::uint32_t>(bytes[offset + 2]) << 16) |
           (static_cast<std::uint32_t>(bytes[offset + 3]) << 24);
  }
  void SetU32At(std::size_t offset, std::uint32_t value) {
    bytes[offset] = static_cast<std::uint8_t>(value);
    bytes[offset + 1] = static_cast<std::uint8_t>(value >> 8);
    bytes[offset + 2] = static_cast<std::uint8_t>(value >> 16);
    bytes[offset + 3] = static_cast<std::uint8_t>(value >> 24);
  }
};

static_assert(sizeof(SchedulerMessage) == kMessageSize, "SchedulerMessage must stay packed");

// First in, first out. Handlers walk it by index; senders pop from the front.
using MessageQueue = std::deque<SchedulerMessage>;

}  // namespace zavik::I2cScheduler
