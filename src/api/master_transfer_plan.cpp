#include "api/master_transfer_plan.h"

#include <algorithm>

#include "scheduler_link/message_codes.h"

namespace zavik::I2cApi {

using Cpp::CI2cAddress;
using Cpp::CMasterMessage;
using Cpp::CMasterMessageRx;
using Cpp::CMasterMessageTx;
using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

namespace {

constexpr std::size_t kBytesPerDataRecord = 8;
constexpr std::uint8_t kTenBitPrefix = 0x78;

// The byte the header carries: the 7-bit address, or the 10-bit prefix with
// the two high address bits.
std::uint8_t HeaderAddressByte(const CI2cAddress& address) {
  if (!address.IsTenBit()) return static_cast<std::uint8_t>(address.GetValue());
  return static_cast<std::uint8_t>(kTenBitPrefix | (address.GetValue() >> 8));
}

std::int32_t TrackedAddress(const CI2cAddress& address) {
  return address.IsTenBit() ? static_cast<std::int32_t>(address.GetValue()) : -1;
}

SchedulerMessage Header(std::uint32_t code, const CI2cAddress& address, std::uint32_t count, bool isLast) {
  SchedulerMessage record = SchedulerMessage::WithCode(code);
  record.SetByte(4, HeaderAddressByte(address));
  record.SetU32At(5, count);
  record.SetByte(9, isLast ? 1 : 0);
  return record;
}

SchedulerMessage DataRecord(const std::uint8_t* bytes, std::size_t count) {
  SchedulerMessage record = SchedulerMessage::WithCode(I2cScheduler::ToScheduler::kWriteData);
  record.SetByte(4, static_cast<std::uint8_t>(count));
  for (std::size_t i = 0; i < count; ++i) record.SetByte(5 + i, bytes[i]);
  return record;
}

TransferStatus Entry(std::uint32_t kind, std::int32_t address, std::uint32_t expected, bool isLast) {
  TransferStatus e;
  e.address = address;
  e.expected = isLast ? kExpectedAtStop : expected;
  e.isLast = isLast;
  e.kind = kind;
  return e;
}

void PlanWrite(const CMasterMessageTx& message, bool isLast, TransferStatus& entry, MessageQueue& records) {
  const CI2cAddress& address = message.GetAddress();
  const std::vector<std::uint8_t>& data = message.GetData();
  const std::uint32_t addressBytes = address.IsTenBit() ? 2 : 1;
  const auto size = static_cast<std::uint32_t>(data.size());

  entry = Entry(kKindWrite, TrackedAddress(address), size + addressBytes, isLast);
  // The low byte of a 10-bit address travels as the first byte after the header.
  records.push_back(Header(I2cScheduler::ToScheduler::kWriteHeader, address, size + addressBytes - 1, isLast));
  if (address.IsTenBit()) {
    const auto low = static_cast<std::uint8_t>(address.GetValue() & 0xFF);
    records.push_back(DataRecord(&low, 1));
  }
  if (data.empty()) {
    records.push_back(DataRecord(nullptr, 0));
    return;
  }
  for (std::size_t offset = 0; offset < data.size(); offset += kBytesPerDataRecord) {
    records.push_back(DataRecord(data.data() + offset, std::min(kBytesPerDataRecord, data.size() - offset)));
  }
}

void PlanRead(CMasterMessageRx& message, bool isLast, TransferStatus& entry, MessageQueue& records) {
  entry = Entry(kKindRead, TrackedAddress(message.GetAddress()), message.GetRequestedCount() + 1, isLast);
  entry.readData = &message.GetData();
  records.push_back(Header(I2cScheduler::ToScheduler::kReadHeader, message.GetAddress(), message.GetRequestedCount(), isLast));
}

SchedulerMessage Configuration(std::uint32_t bitrate, std::uint32_t highSpeedBitrate) {
  SchedulerMessage record = SchedulerMessage::WithCode(I2cScheduler::ToScheduler::kConfigureMaster);
  record.SetU32At(4, bitrate);
  record.SetU32At(8, highSpeedBitrate);
  return record;
}

// A read from a 10-bit address that the entry before it did not address.
bool NeedsAddressWrite(const CMasterMessageRx& read, const TransferStatus& previous) {
  return read.GetAddress().IsTenBit() && previous.address != TrackedAddress(read.GetAddress());
}

}  // namespace

void PlanTransfer(const Cpp::MasterMessageList& messages, std::uint32_t bitrate, std::uint32_t highSpeedBitrate,
                  std::vector<TransferStatus>& statuses, MessageQueue& records, std::vector<PlannedMessage>& plan) {
  statuses.assign(messages.size() + 1, TransferStatus{});
  plan.assign(messages.size(), PlannedMessage{});
  records.push_back(Configuration(bitrate, highSpeedBitrate));
  statuses[0] = Entry(kKindConfiguration, -1, 0, false);

  std::size_t k = 1;
  for (std::size_t i = 0; i < messages.size(); ++i, ++k) {
    const bool isLast = i + 1 == messages.size();
    CMasterMessage* message = messages[i];
    if (const auto* write = dynamic_cast<const CMasterMessageTx*>(message)) {
      PlanWrite(*write, isLast, statuses[k], records);
    } else if (auto* read = dynamic_cast<CMasterMessageRx*>(message)) {
      if (NeedsAddressWrite(*read, statuses[k - 1])) {
        statuses.emplace_back();
        PlanWrite(CMasterMessageTx(read->GetAddress(), {}), false, statuses[k], records);
        plan[i].addressWriteEntry = k;
        ++k;
      }
      PlanRead(*read, isLast, statuses[k], records);
    }
    plan[i].entry = k;
  }
}

}  // namespace zavik::I2cApi
