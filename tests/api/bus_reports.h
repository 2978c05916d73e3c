#pragma once
// Builders for the scheduler's bus reports as tests feed them to the decoder
// and the tracking: START, STOP, bits of a byte with its acknowledge bit,
// master status and Vcc records.

#include <cstdint>
#include <initializer_list>

#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi::TestReports {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

inline SchedulerMessage Record(std::uint32_t code) { return SchedulerMessage::WithCode(code); }

inline SchedulerMessage Bit(std::uint8_t level) {
  SchedulerMessage m = Record(7);
  m.SetByte(4, level);
  return m;
}

inline SchedulerMessage Status(std::uint32_t status) {
  SchedulerMessage m = Record(13);
  m.SetU32At(4, status);
  return m;
}

inline SchedulerMessage Vcc(std::uint16_t millivolts) {
  SchedulerMessage m = Record(24);
  m.SetU16At(4, millivolts);
  return m;
}

inline void Start(MessageQueue& q) { q.push_back(Record(5)); }
inline void Stop(MessageQueue& q) { q.push_back(Record(6)); }
inline void Begins(MessageQueue& q) { q.push_back(Record(22)); }

// Eight bits of value, most significant first.
inline void ByteBits(MessageQueue& q, std::uint8_t value) {
  for (int i = 7; i >= 0; --i) q.push_back(Bit(static_cast<std::uint8_t>((value >> i) & 1)));
}

// A byte and its acknowledge bit (low = acknowledged).
inline void ByteWithAck(MessageQueue& q, std::uint8_t value, bool acknowledged) {
  ByteBits(q, value);
  q.push_back(Bit(acknowledged ? 0 : 1));
}

}  // namespace zavik::I2cApi::TestReports
