#include "api/bus_event_recorder.h"

#include "api/bus_event_decoder.h"
#include "scheduler_link/message_codes.h"

namespace zavik::I2cApi {

using namespace I2cScheduler::FromScheduler;

BusEventRecorder::BusEventRecorder(CBoardClient&) {
  ResetAtOpen();
}

void BusEventRecorder::ResetAtOpen() {
  recordValues_ = false;
  valueQueue_.clear();
  recordEvents_ = false;
  eventQueue_.clear();
  addressFlags7_.fill(1);
  addressFlags10_.fill(1);
}

void BusEventRecorder::ResetAtClose() {
  recordValues_ = false;
  valueQueue_.clear();
  recordEvents_ = false;
  eventQueue_.clear();
  recordCode26_ = false;
  code26Queue_.clear();
}

void BusEventRecorder::HandleMessages(const I2cScheduler::MessageQueue& batch) {
  if (recordValues_) RecordValues(batch);
  if (recordCode26_) RecordCode26(batch);
  if (recordEvents_) RecordEvents(batch);
}

void BusEventRecorder::RecordValues(const I2cScheduler::MessageQueue& batch) {
  for (const auto& record : batch)
    if (record.Code() == kAcknowledgement) valueQueue_.push_back(record.U32At(4));
}

void BusEventRecorder::RecordCode26(const I2cScheduler::MessageQueue& batch) {
  for (const auto& record : batch)
    if (record.Code() == kStatusByte) code26Queue_.push_back({record.Byte(4), record.U32At(5), record.U32At(9)});
}

void BusEventRecorder::RecordEvents(const I2cScheduler::MessageQueue& batch) {
  for (const auto& record : batch) {
    const std::uint32_t code = record.Code();
    if (code > kProtocolError) continue;  // the bus events and reports, 0 to 8
    const bool carriesData = code == kEventByte || code == kBit;
    eventQueue_.push_back({code, carriesData ? record.Byte(4) : std::uint8_t{0}, record.U32At(5), record.U32At(9)});
  }
}

}  // namespace zavik::I2cApi
