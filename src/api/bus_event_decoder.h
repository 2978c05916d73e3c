#pragma once
// Turns the scheduler's bit-level bus reports into the events the master
// tracking works on: START and STOP under their event codes, eight bits
// gathered into one byte event, and the ninth bit into an acknowledge or a
// not-acknowledge. Everything else passes through unchanged. The state
// survives between batches, so a byte may span two polls.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "scheduler_link/message_codes.h"
#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi {

// Codes of the decoded events; they never travel on the wire.
constexpr std::uint32_t kEventStart = 0;
constexpr std::uint32_t kEventStop = 1;
constexpr std::uint32_t kEventAck = 2;
constexpr std::uint32_t kEventNack = 3;
constexpr std::uint32_t kEventByte = 4;

class BusEventDecoder {
 public:
  BusEventDecoder();

  // Appends the events of every input record to output, in input order, and
  // returns the number of input records walked. The input is not changed.
  std::size_t Decode(const I2cScheduler::MessageQueue& input, I2cScheduler::MessageQueue& output);

 private:
  void DecodeBit(const I2cScheduler::SchedulerMessage& report, I2cScheduler::MessageQueue& output);
  static I2cScheduler::SchedulerMessage Renamed(const I2cScheduler::SchedulerMessage& report, std::uint32_t code);
  static I2cScheduler::SchedulerMessage ByteEvent(std::uint8_t value);

  std::vector<std::uint8_t> bits_;  // levels of the byte being gathered, first bit first
  bool ackNext_ = false;            // the next bit acknowledges the byte just completed
  bool inFrame_ = false;            // between a START and the following STOP
};

}  // namespace zavik::I2cApi
