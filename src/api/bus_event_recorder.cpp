#include "api/bus_event_recorder.h"

namespace zavik::I2cApi {

namespace {

constexpr std::uint32_t kStatusNumberCode = 13;
constexpr std::uint32_t kCode26 = 26;
constexpr std::uint32_t kLastEventCode = 8;
constexpr std::uint32_t kByteEvent = 4;
constexpr std::uint32_t kBitReport = 7;

}  // namespace

BusEventRecorder::BusEventRecorder(CBoardClient& client) : code26Owner_(&client), owner_(&client) {
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
    if (record.Code() == kStatusNumberCode) valueQueue_.push_back(record.U32At(4));
}

void BusEventRecorder::RecordCode26(const I2cScheduler::MessageQueue& batch) {
  for (const auto& record : batch)
    if (record.Code() == kCode26) code26Queue_.push_back({record.Byte(4), record.U32At(5), record.U32At(9)});
}

void BusEventRecorder::RecordEvents(const I2cScheduler::MessageQueue& batch) {
  for (const auto& record : batch) {
    const std::uint32_t code = record.Code();
    if (code > kLastEventCode) continue;
    const bool carriesData = code == kByteEvent || code == kBitReport;
    eventQueue_.push_back({code, carriesData ? record.Byte(4) : std::uint8_t{0}, record.U32At(5), record.U32At(9)});
  }
}

}  // namespace zavik::I2cApi
