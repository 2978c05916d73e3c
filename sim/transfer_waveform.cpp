#include "sim/transfer_waveform.h"

#include <string>

#include "scheduler_link/message_codes.h"

namespace zavik::I2cSim {

namespace {

namespace Code = I2cScheduler::FromScheduler;

std::size_t FindStatus(const I2cScheduler::MessageQueue& reports, std::uint32_t status) {
  for (std::size_t i = 0; i < reports.size(); ++i) {
    if (reports[i].Code() == Code::kAcknowledgement && reports[i].U32At(4) == status) return i;
  }
  return std::string::npos;
}

}  // namespace

TransferWaveform::TransferWaveform(VcdWriter& writer, const BoardLines& lines, const BusTransfer& transfer,
                                   const TransferResult& result)
    : writer_(writer),
      lines_(lines),
      transfer_(transfer),
      result_(result),
      fullSpeed_(BusTiming::For(transfer.bitrate, false)),
      highSpeed_(BusTiming::For(transfer.highSpeedBitrate, true)),
      lossReport_(FindStatus(result.reports, I2cScheduler::MasterStatus::kArbitrationLost)) {}

std::uint64_t TransferWaveform::Draw(std::uint64_t start) {
  now_ = start;
  const I2cScheduler::MessageQueue& reports = result_.reports;
  for (std::size_t i = 0; i < reports.size(); ++i) {
    switch (reports[i].Code()) {
      case Code::kStart: Start(i); break;
      case Code::kBit: Bit(reports[i].Byte(4) != 0); break;
      case Code::kStop: Stop(); break;
      case Code::kAcknowledgement:
        if (reports[i].U32At(4) == I2cScheduler::MasterStatus::kArbitrationLost) LoseArbitration();
        if (reports[i].U32At(4) == I2cScheduler::MasterStatus::kBusTimeout) StretchForTimeout();
        break;
      default: break;  // message begins, protocol error, Vcc: nothing on the wires
    }
  }
  // A transfer that a fault ended leaves the bus idle with a STOP.
  if (inFrame_) Stop();
  return now_;
}

bool TransferWaveform::SegmentWasMasterCode() const {
  return transfer_.highSpeedBitrate != 0 && bitsInSegment_ == 9 && (firstByte_ & 0xF8) == I2cScheduler::kHighSpeedMasterCode;
}

// The segment opened by the START at `report` is the one whose address
// byte loses arbitration: the status follows with no START in between.
bool TransferWaveform::LosesArbitrationAfter(std::size_t report) const {
  if (lossReport_ == std::string::npos || lossReport_ < report) return false;
  for (std::size_t i = report + 1; i < lossReport_; ++i) {
    if (result_.reports[i].Code() == Code::kStart) return false;
  }
  return true;
}

bool TransferWaveform::AddressBit(int position) const {
  if (message_ < 0 || static_cast<std::size_t>(message_) >= transfer_.messages.size()) return false;
  const BusMessage& message = transfer_.messages[static_cast<std::size_t>(message_)];
  const unsigned byte = (static_cast<unsigned>(message.header) << 1) | (message.read ? 1u : 0u);
  return ((byte >> (8 - position)) & 1u) != 0;
}

void TransferWaveform::Start(std::size_t report) {
  const bool highSpeedPart = SegmentWasMasterCode();
  timing_ = highSpeedPart ? &highSpeed_ : &fullSpeed_;
  if (!inFrame_) {
    Sda(now_, false);
    now_ += timing_->holdStart;
  } else {
    Sda(now_ + timing_->holdData, true);
    now_ += timing_->low;
    Scl(now_, true);
    now_ += timing_->setupStart;
    Sda(now_, false);
    now_ += timing_->holdStart;
  }
  Scl(now_, false);
  inFrame_ = true;
  bitsInSegment_ = 0;
  firstByte_ = 0;
  // A START that opens a master code is followed by the message's own START.
  if (transfer_.highSpeedBitrate == 0 || highSpeedPart) ++message_;
  lossAt_ = 0;
  if (LosesArbitrationAfter(report)) {
    int reported = 0;
    for (std::size_t i = report + 1; i < lossReport_; ++i) reported += result_.reports[i].Code() == Code::kBit;
    for (int p = reported + 1; p <= 8 && lossAt_ == 0; ++p) lossAt_ = AddressBit(p) ? p : 0;
    for (int p = reported; p >= 1 && lossAt_ == 0; --p) lossAt_ = AddressBit(p) ? p : 0;
    if (lossAt_ == 0) lossAt_ = reported + 1;  // an all-zero byte: no address a device can have
  }
}

void TransferWaveform::Bit(bool level) {
  if (!inFrame_) return;  // the rest of an address byte that lost arbitration
  // The other master holds SDA low where ours sends a 1: on the wires that
  // is the first half of a STOP, and the other master's release of SDA with
  // SCL still high completes it.
  if (lossAt_ != 0 && bitsInSegment_ + 1 == lossAt_) {
    Stop();
    return;
  }
  Sda(now_ + timing_->holdData, level);
  Scl(now_ + timing_->low, true);
  now_ += timing_->period;
  Scl(now_, false);
  ++bitsInSegment_;
  if (bitsInSegment_ <= 8) firstByte_ = (firstByte_ << 1) | (level ? 1u : 0u);
}

void TransferWaveform::Stop() {
  Sda(now_ + timing_->holdData, false);
  now_ += timing_->low;
  Scl(now_, true);
  now_ += timing_->setupStop;
  Sda(now_, true);
  inFrame_ = false;
}

// The address bits after the reported ones, up to the lost one.
void TransferWaveform::LoseArbitration() {
  while (inFrame_ && lossAt_ != 0) Bit(AddressBit(bitsInSegment_ + 1));
}

void TransferWaveform::StretchForTimeout() {
  Sda(now_ + timing_->holdData, true);
  now_ += timing_->low;
  writer_.Change(now_, lines_.timeout, true);
  now_ += kTimeoutStretch;
  writer_.Change(now_, lines_.timeout, false);
  Scl(now_, true);
  now_ += timing_->high;
  Scl(now_, false);
  ++bitsInSegment_;
}

}  // namespace zavik::I2cSim
