#pragma once
// Helpers shared by the simulator tests: messages driven into a device,
// request records as the library sends them, and a compact rendering of what
// the scheduler answers, to compare with sequences worked out by hand.

#include <cstdint>
#include <string>
#include <vector>

#include "scheduler_link/scheduler_message.h"
#include "sim/clock.h"
#include "sim/i2c_device.h"

namespace zavik::I2cSim::SimTest {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

using Bytes = std::vector<std::uint8_t>;

// Drives one write message into a device as the bus engine would; returns the acks.
inline std::vector<bool> WriteMessage(I2cDevice& device, const Bytes& bytes, bool stop = true) {
  std::vector<bool> acks{device.Select(false)};
  for (std::size_t i = 0; acks[0] && i < bytes.size(); ++i) acks.push_back(device.Write(bytes[i]));
  device.Release(stop);
  return acks;
}

inline Bytes ReadMessage(I2cDevice& device, int count) {
  Bytes bytes;
  if (!device.Select(true)) return bytes;
  for (int i = 0; i < count; ++i) bytes.push_back(device.Read());
  device.Release(true);
  return bytes;
}

// 16/17 {address, count, last}.
inline SchedulerMessage Header(std::uint32_t code, std::uint8_t address, std::uint32_t count, bool last) {
  SchedulerMessage m = SchedulerMessage::WithCode(code);
  m.SetByte(4, address);
  m.SetU32At(5, count);
  m.SetByte(9, last ? 1 : 0);
  return m;
}

// 18 {count, bytes...}.
inline SchedulerMessage Data(const std::vector<std::uint8_t>& bytes) {
  SchedulerMessage m = SchedulerMessage::WithCode(18);
  m.SetByte(4, static_cast<std::uint8_t>(bytes.size()));
  for (std::size_t i = 0; i < bytes.size(); ++i) m.SetByte(5 + i, bytes[i]);
  return m;
}

// Bits (code 7) print as 0/1, grouped nine at a time (eight bits and the
// acknowledge bit); START "S", STOP "P", status "13{n}", Vcc "24{mV}", any
// other code its number. Tokens are separated by spaces.
inline std::string Render(const MessageQueue& reports) {
  std::string out;
  int bitsInGroup = 0;
  auto token = [&](const std::string& text) {
    if (!out.empty()) out += ' ';
    out += text;
    bitsInGroup = 0;
  };
  for (const auto& report : reports) {
    switch (report.Code()) {
      case 7:
        if (bitsInGroup == 0 || bitsInGroup == 9) token("");
        out += report.Byte(4) ? '1' : '0';
        ++bitsInGroup;
        break;
      case 5: token("S"); break;
      case 6: token("P"); break;
      case 13: token("13{" + std::to_string(report.U32At(4)) + "}"); break;
      case 24: token("24{" + std::to_string(report.U16At(4)) + "}"); break;
      default: token(std::to_string(report.Code())); break;
    }
  }
  return out;
}

}  // namespace zavik::I2cSim::SimTest
