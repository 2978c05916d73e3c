#include "sim/transfer_assembler.h"

#include <algorithm>

#include "scheduler_link/message_codes.h"

namespace zavik::I2cSim {

namespace {
std::uint64_t RecordsFor(std::uint64_t dataBytes) { return std::max<std::uint64_t>(1, (dataBytes + 7) / 8); }
}  // namespace

void TransferAssembler::Configure(std::uint32_t bitrate, std::uint32_t highSpeedBitrate) {
  bitrate_ = bitrate;
  highSpeedBitrate_ = highSpeedBitrate;
  Reset();
}

void TransferAssembler::Reset() {
  transfer_ = BusTransfer{};
  recordsOwed_ = 0;
}

std::optional<BusTransfer> TransferAssembler::Feed(const I2cScheduler::SchedulerMessage& record) {
  switch (record.Code()) {
    case I2cScheduler::ToScheduler::kWriteHeader: return StartMessage(record, false);
    case I2cScheduler::ToScheduler::kReadHeader: return StartMessage(record, true);
    case I2cScheduler::ToScheduler::kWriteData: return AddData(record);
    default: return std::nullopt;
  }
}

std::optional<BusTransfer> TransferAssembler::StartMessage(const I2cScheduler::SchedulerMessage& header, bool read) {
  // A header while a write still owes records cuts that write short: it runs
  // with the data it got rather than swallowing the new message's records.
  // When the cut write was the last message, its transfer is returned and
  // this header is dropped with the rest of the malformed sequence.
  if (recordsOwed_ != 0) {
    recordsOwed_ = 0;
    if (auto done = CompleteMessage()) return done;
  }
  if (transfer_.messages.size() >= kMaxMessages) Reset();
  if (transfer_.messages.empty()) {
    transfer_.bitrate = bitrate_;
    transfer_.highSpeedBitrate = highSpeedBitrate_;
  }
  BusMessage message;
  message.read = read;
  message.header = header.Byte(4) & 0x7F;
  message.last = header.Byte(9) != 0;
  const std::uint32_t count = header.U32At(5);
  if (read) {
    message.readCount = count;
    transfer_.messages.push_back(message);
    return CompleteMessage();
  }
  // For a 10-bit address the count includes the low address byte, which has
  // a record of its own.
  recordsOwed_ = message.TenBit() ? 1 + RecordsFor(count == 0 ? 0 : count - 1) : RecordsFor(count);
  transfer_.messages.push_back(message);
  return std::nullopt;
}

std::optional<BusTransfer> TransferAssembler::AddData(const I2cScheduler::SchedulerMessage& record) {
  if (recordsOwed_ == 0) return std::nullopt;  // no write is waiting for data: stray record
  std::vector<std::uint8_t>& data = transfer_.messages.back().data;
  const std::size_t count = std::min<std::size_t>(record.Byte(4), 8);
  if (data.size() + count <= kMaxWriteBytes) data.insert(data.end(), record.bytes + 5, record.bytes + 5 + count);
  if (--recordsOwed_ != 0) return std::nullopt;
  return CompleteMessage();
}

std::optional<BusTransfer> TransferAssembler::CompleteMessage() {
  if (!transfer_.messages.back().last) return std::nullopt;
  BusTransfer done = std::move(transfer_);
  Reset();
  return done;
}

}  // namespace zavik::I2cSim
