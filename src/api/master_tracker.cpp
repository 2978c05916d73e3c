#include "api/master_tracker.h"

#include "api/master_limits.h"
#include "scheduler_link/message_codes.h"

namespace zavik::I2cApi {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

namespace {

void Finish(TransferStatus& e) { e.kind = kKindFinished; }

void EndWith(TransferStatus& e, std::uint32_t phase) {
  e.phase = phase;
  Finish(e);
}

void EndInError(TransferStatus& e, std::uint32_t result) {
  EndWith(e, Ended);
  e.result = result;
}

// A message that is not the last is complete once all its bytes are counted.
void FinishWhenComplete(TransferStatus& e) {
  if (e.count >= e.expected && !e.isLast) Finish(e);
}

void OnStart(TransferStatus& e) {
  if (e.phase == Waiting) return;
  if (e.phase == StartAnnounced) {
    e.phase = Started;
    return;
  }
  EndWith(e, Unexpected);
}

void OnStop(TransferStatus& e) {
  if (e.phase == Waiting) return;
  if (e.phase == Acked || e.phase == Nacked) {
    EndWith(e, Stopped);
    return;
  }
  EndWith(e, Unexpected);
}

void OnAck(TransferStatus& e) {
  if (e.phase == Waiting) return;
  if (e.phase == MasterCode) {
    Finish(e);
    return;
  }
  if (e.phase == AddressSent || e.phase == DataSent) {
    e.phase = Acked;
    ++e.count;
    FinishWhenComplete(e);
    return;
  }
  EndWith(e, Unexpected);
}

void OnNack(TransferStatus& e) {
  if (e.phase == Waiting) return;
  if (e.phase == MasterCode) {
    e.phase = MasterCodeNacked;
    return;
  }
  if (e.phase == AddressSent || e.phase == DataSent) {
    // The master does not acknowledge the last byte it reads; it still counts.
    if (e.phase == DataSent && e.kind == kKindRead) ++e.count;
    e.phase = Nacked;
    FinishWhenComplete(e);
    return;
  }
  EndWith(e, Unexpected);
}

void OnByte(TransferStatus& e, std::uint8_t value) {
  if (e.phase == Waiting) return;
  if (e.phase == Started) {
    e.phase = value == I2cScheduler::kHighSpeedMasterCode ? MasterCode : AddressSent;
    return;
  }
  if (e.phase == Acked) {
    e.phase = DataSent;
    if (e.kind == kKindRead && e.readData != nullptr) e.readData->push_back(value);
    return;
  }
  EndWith(e, Unexpected);
}

void OnProtocolError(TransferStatus& e) {
  if (e.phase == Waiting) return;
  EndInError(e, kResultProtocolError);
}

void OnMasterStatus(TransferStatus& e, std::uint32_t status) {
  switch (status) {
    case I2cScheduler::MasterStatus::kConfigAccepted:
      EndWith(e, e.phase == Waiting ? ConfigAccepted : Unexpected);
      break;
    case I2cScheduler::MasterStatus::kConfigRejected:
      EndWith(e, e.phase == Waiting ? Ended : Unexpected);
      break;
    case I2cScheduler::MasterStatus::kArbitrationLost:
      EndInError(e, kResultArbitrationLost);
      break;
    case I2cScheduler::MasterStatus::kWriteEnded:
      EndWith(e, e.kind == kKindWrite ? Ended : Unexpected);
      break;
    case I2cScheduler::MasterStatus::kReadEnded:
      EndWith(e, e.kind == kKindRead ? Ended : Unexpected);
      break;
    case I2cScheduler::MasterStatus::kBusTimeout:
      EndInError(e, kResultBusTimeout);
      break;
    case I2cScheduler::MasterStatus::kNoEffect:
    default:
      break;  // other numbers belong to other modules
  }
}

void OnMessageBegins(TransferStatus& e) {
  if (e.kind == kKindConfiguration) return;
  if (e.phase == Waiting || e.phase == MasterCodeNacked) {
    e.phase = StartAnnounced;
    return;
  }
  EndWith(e, Unexpected);
}

void OnVcc(TransferStatus& e, std::uint16_t millivolts) {
  if (e.phase == Waiting) return;
  if (millivolts < kMinimumVcc) EndInError(e, kResultVccTooLow);
}

void Apply(TransferStatus& e, const SchedulerMessage& event) {
  switch (event.Code()) {
    case kEventStart: OnStart(e); break;
    case kEventStop: OnStop(e); break;
    case kEventAck: OnAck(e); break;
    case kEventNack: OnNack(e); break;
    case kEventByte: OnByte(e, event.Byte(4)); break;
    case I2cScheduler::FromScheduler::kProtocolError: OnProtocolError(e); break;
    case I2cScheduler::FromScheduler::kAcknowledgement: OnMasterStatus(e, event.U32At(4)); break;
    case I2cScheduler::FromScheduler::kMessageBegins: OnMessageBegins(e); break;
    case I2cScheduler::FromScheduler::kI2cVcc: OnVcc(e, event.U16At(4)); break;
    default: break;
  }
}

}  // namespace

void MasterTracker::Start() {
  current_ = 0;
  running_ = true;
}

void MasterTracker::DetachReadData() {
  for (TransferStatus& entry : statuses_) entry.readData = nullptr;
}

void MasterTracker::HandleMessages(const MessageQueue& batch) {
  if (!running_) return;
  events_.clear();
  decoder_.Decode(batch, events_);
  // Events after the end of the transfer are still applied, as the table says,
  // to whichever entry is current then.
  for (const SchedulerMessage& event : events_) ApplyEvent(event);
}

void MasterTracker::ApplyEvent(const SchedulerMessage& event) {
  if (current_ >= statuses_.size()) return;
  Apply(statuses_[current_], event);
  AdvanceAfterFinish();
}

void MasterTracker::AdvanceAfterFinish() {
  const TransferStatus& e = statuses_[current_];
  if (e.kind != kKindFinished) return;
  if (e.phase == Ended) running_ = false;
  if (current_ + 1 < statuses_.size()) {
    ++current_;
  } else {
    running_ = false;
  }
}

}  // namespace zavik::I2cApi
