#pragma once
// The scheduler's bus reports, written as a short script for readability:
//   B       record 22 (a message begins)     S / P   START (5) / STOP (6)
//   0xA1+   byte 0xA1 as eight bit reports (7), then an acknowledge bit low;
//   0xA1-   the same with the acknowledge bit high; 0xA1 without one
//   b2      one bit report at level 2        r8      a bare record of code 8
//   s30     status record 13 {30}            v999    Vcc report 24 {999 mV}

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>

#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi::Testing {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

inline SchedulerMessage Record(std::uint32_t code) { return SchedulerMessage::WithCode(code); }

inline SchedulerMessage Bit(std::uint8_t level) {
  SchedulerMessage m = Record(7);
  m.SetByte(4, level);
  return m;
}

inline SchedulerMessage Status(std::uint32_t value) {
  SchedulerMessage m = Record(13);
  m.SetU32At(4, value);
  return m;
}

inline SchedulerMessage Vcc(std::uint16_t millivolts) {
  SchedulerMessage m = Record(24);
  m.SetU16At(4, millivolts);
  return m;
}

// Eight bits of value, most significant first, then the acknowledge bit
// (low = acknowledged) unless ack is 0.
inline void ByteBits(MessageQueue& q, std::uint8_t value, char ack = 0) {
  for (int i = 7; i >= 0; --i) q.push_back(Bit(static_cast<std::uint8_t>((value >> i) & 1)));
  if (ack != 0) q.push_back(Bit(ack == '+' ? 0 : 1));
}

inline void ByteWithAck(MessageQueue& q, std::uint8_t value, bool acknowledged) {
  ByteBits(q, value, acknowledged ? '+' : '-');
}

inline MessageQueue Reports(const std::string& script) {
  MessageQueue q;
  std::istringstream in(script);
  for (std::string t; in >> t;) {
    const auto number = [&t](int base) { return static_cast<std::uint32_t>(std::stoul(t.substr(1), nullptr, base)); };
    if (t == "B") q.push_back(Record(22));
    else if (t == "S") q.push_back(Record(5));
    else if (t == "P") q.push_back(Record(6));
    else if (t.rfind("0x", 0) == 0) ByteBits(q, static_cast<std::uint8_t>(std::stoul(t, nullptr, 16)), t.back() == '+' || t.back() == '-' ? t.back() : 0);
    else if (t[0] == 'b') q.push_back(Bit(static_cast<std::uint8_t>(number(10))));
    else if (t[0] == 'r') q.push_back(Record(number(10)));
    else if (t[0] == 's') q.push_back(Status(number(10)));
    else if (t[0] == 'v') q.push_back(Vcc(static_cast<std::uint16_t>(number(10))));
    else throw std::invalid_argument("bad report token " + t);
  }
  return q;
}

}  // namespace zavik::I2cApi::Testing
