#include "scheduler_link/ipc_base.h"

#include <algorithm>
#include <cstring>

namespace zavik::I2cScheduler {

std::uint32_t AdaptWriteChunk(std::uint32_t chunk, std::uint32_t written, std::uint32_t requested) {
  const double current = chunk;
  const double adapted = written < requested ? std::max(current * 0.9, double(kMinWriteChunk))
                                             : std::min(current * 1.1, double(kMaxWriteChunk));
  return static_cast<std::uint32_t>(adapted);
}

std::int32_t CIpcBase::Read(std::uint8_t* buffer, std::int32_t count) {
  if (!open_ && receiveQueue_.empty()) return -1;
  const auto available = static_cast<std::int64_t>(receiveQueue_.size());
  const std::int32_t n = static_cast<std::int32_t>(std::min<std::int64_t>(count, available));
  if (n < 1) return n;
  receiveQueue_.Take(buffer, static_cast<std::size_t>(n));
  return n;
}

std::int32_t CIpcBase::Write(const std::uint8_t* bytes, std::int32_t count) {
  if (!open_) return -1;
  if (sendQueue_.size() > kSendLimit) return 0;
  if (count < 1) return count;
  sendQueue_.Append(bytes, static_cast<std::size_t>(count));
  return count;
}

bool CIpcBase::SendMessages(MessageQueue& messages) {
  if (!open_) return false;
  for (const SchedulerMessage& m : messages) sendQueue_.Append(m.bytes, kMessageSize);
  messages.clear();
  return true;
}

bool CIpcBase::SendMessagesBounded(MessageQueue& messages) {
  if (!open_) return false;
  while (!messages.empty() && sendQueue_.size() < kSendLimit) {
    sendQueue_.Append(messages.front().bytes, kMessageSize);
    messages.pop_front();
  }
  return true;
}

bool CIpcBase::ReceiveMessages(MessageQueue& messages) {
  if (!open_ && receiveQueue_.size() < messageSize_) return false;
  const std::size_t whole = receiveQueue_.size() / messageSize_;
  const std::uint8_t* front = receiveQueue_.data();
  for (std::size_t i = 0; i < whole; ++i) {
    messages.emplace_back();
    std::memcpy(messages.back().bytes, front + i * kMessageSize, kMessageSize);
  }
  receiveQueue_.Drop(whole * kMessageSize);
  return true;
}

bool CIpcBase::ReceiveAllMessages(MessageQueue& messages) { return ReceiveMessages(messages); }

bool CIpcBase::ReceiveMessage(std::uint8_t* buffer) {
  if (receiveQueue_.size() < messageSize_) return false;
  receiveQueue_.Take(buffer, kMessageSize);
  return true;
}

void CIpcBase::MarkClosed() {
  open_ = false;
  sendQueue_.Clear();
}

std::uint32_t CIpcBase::PrepareWriteInPlace() const {
  return static_cast<std::uint32_t>(std::min<std::size_t>(sendQueue_.size(), writeChunk_));
}

std::uint32_t CIpcBase::PrepareWrite(std::uint8_t* buffer) {
  const std::uint32_t n = PrepareWriteInPlace();
  sendQueue_.Peek(buffer, n);
  return n;
}

void CIpcBase::CompleteWrite(std::uint32_t written, std::uint32_t requested) {
  sendQueue_.Drop(std::min<std::size_t>(written, sendQueue_.size()));
  writeChunk_ = AdaptWriteChunk(writeChunk_, written, requested);
}

}  // namespace zavik::I2cScheduler
