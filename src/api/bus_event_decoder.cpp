#include "api/bus_event_decoder.h"

#include "scheduler_link/message_codes.h"

namespace zavik::I2cApi {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

namespace {
constexpr std::size_t kBitsPerByte = 8;
}

BusEventDecoder::BusEventDecoder() {
  // Reserved once; clear() keeps the capacity, so decoding never allocates.
  bits_.reserve(kBitsPerByte);
}

std::size_t BusEventDecoder::Decode(const MessageQueue& input, MessageQueue& output) {
  for (const SchedulerMessage& report : input) {
    switch (report.Code()) {
      case I2cScheduler::FromScheduler::kStart:
        output.push_back(Renamed(report, kEventStart));
        inFrame_ = true;
        ackNext_ = false;
        bits_.clear();  // a START in the middle of a byte drops its bits
        break;
      case I2cScheduler::FromScheduler::kStop:
        output.push_back(Renamed(report, kEventStop));
        inFrame_ = false;
        bits_.clear();
        break;
      case I2cScheduler::FromScheduler::kBit:
        DecodeBit(report, output);
        break;
      default:
        output.push_back(report);
        break;
    }
  }
  return input.size();
}

void BusEventDecoder::DecodeBit(const SchedulerMessage& report, MessageQueue& output) {
  if (!inFrame_) return;
  const std::uint8_t level = report.Byte(4);
  if (ackNext_) {
    output.push_back(Renamed(report, level != 0 ? kEventNack : kEventAck));
    ackNext_ = false;
    return;
  }
  if (bits_.size() < kBitsPerByte - 1) {
    bits_.push_back(level);
    return;
  }
  // Eighth bit: most significant first; only a level of exactly 1 is a one.
  std::uint8_t value = 0;
  for (std::uint8_t bit : bits_) value = static_cast<std::uint8_t>((value << 1) | (bit == 1 ? 1 : 0));
  value = static_cast<std::uint8_t>((value << 1) | (level == 1 ? 1 : 0));
  output.push_back(ByteEvent(value));
  ackNext_ = true;
  bits_.clear();
}

SchedulerMessage BusEventDecoder::Renamed(const SchedulerMessage& report, std::uint32_t code) {
  SchedulerMessage event = report;
  event.SetCode(code);
  return event;
}

SchedulerMessage BusEventDecoder::ByteEvent(std::uint8_t value) {
  SchedulerMessage event = SchedulerMessage::WithCode(kEventByte);
  event.SetByte(4, value);
  for (std::size_t i = 5; i < I2cScheduler::kMessageSize; ++i) event.SetByte(i, 0xFF);
  return event;
}

}  // namespace zavik::I2cApi
