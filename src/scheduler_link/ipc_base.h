#pragma once
// Everything of a socket channel that is not a system call: the two byte
// queues, the closed state, the framing of messages into and out of the
// stream, the queue limits and the adaptation of the write chunk. The Win32
// and POSIX backends derive from it and add only the socket and its I/O.

#include <cstddef>
#include <cstdint>

#include "scheduler_link/byte_queue.h"
#include "scheduler_link/ipc.h"

namespace zavik::I2cScheduler {

constexpr std::uint32_t kIoBufferSize = 50000;
constexpr std::uint32_t kMinWriteChunk = 10;
constexpr std::uint32_t kMaxWriteChunk = 50000;
constexpr std::size_t kReadPauseLevel = 1000000;     // reading pauses above this
constexpr std::size_t kReceiveHighLevel = 900000;    // ReceiveQueueHigh above this
constexpr std::size_t kSendHighLevel = 135000;       // SendQueueHigh above this
constexpr std::size_t kSendLimit = 150000;           // Write refuses above, bounded send stops at

// New write chunk after a completed write: a tenth less after a short write
// (not below 10), a tenth more after a full one (not above 50000); computed in
// double precision and truncated toward zero.
std::uint32_t AdaptWriteChunk(std::uint32_t chunk, std::uint32_t written, std::uint32_t requested);

class CIpcBase : public CIpc {
 public:
  bool IsOpen() const override { return open_; }
  Endpoint* GetEndpoint() override { return &endpoint_; }

  std::int32_t Read(std::uint8_t* buffer, std::int32_t count) override;
  std::int32_t Write(const std::uint8_t* bytes, std::int32_t count) override;

  bool SendMessages(MessageQueue& messages) override;
  bool ReceiveMessages(MessageQueue& messages) override;
  bool SendMessagesBounded(MessageQueue& messages) override;
  bool ReceiveMessage(std::uint8_t* buffer) override;
  bool ReceiveAllMessages(MessageQueue& messages) override;

  bool NoMessageReady() const override { return receiveQueue_.size() < messageSize_; }
  bool ReceiveQueueHigh() const override { return receiveQueue_.size() > kReceiveHighLevel; }
  bool SendQueueEmpty() const override { return sendQueue_.empty(); }
  bool SendQueueHigh() const override { return sendQueue_.size() > kSendHighLevel; }

  std::uint32_t WriteChunk() const { return writeChunk_; }
  std::size_t ReceiveQueueSize() const { return receiveQueue_.size(); }
  std::size_t SendQueueSize() const { return sendQueue_.size(); }

 protected:
  CIpcBase() = default;

  void SetOpen(bool open) { open_ = open; }
  // The closed state: unsent bytes are dropped, received ones survive so that
  // whole messages that arrived before the close can still be taken.
  void MarkClosed();

  bool ReadingPaused() const { return receiveQueue_.size() > kReadPauseLevel; }
  void AcceptReceived(const std::uint8_t* bytes, std::size_t count) { receiveQueue_.Append(bytes, count); }

  // Copies the next write (at most writeChunk bytes) into buffer, leaving the
  // bytes queued until the write reports them done. Returns the byte count.
  std::uint32_t PrepareWrite(std::uint8_t* buffer);
  // The same without the copy, for backends that write straight from the
  // queue: the byte count of the next write, starting at SendQueueFront().
  std::uint32_t PrepareWriteInPlace() const;
  const std::uint8_t* SendQueueFront() const { return sendQueue_.data(); }
  void CompleteWrite(std::uint32_t written, std::uint32_t requested);
  void ResetWriteChunk() { writeChunk_ = kMaxWriteChunk; }

  Endpoint endpoint_;

 private:
  bool open_ = false;
  ByteQueue receiveQueue_;
  ByteQueue sendQueue_;
  std::uint32_t messageSize_ = static_cast<std::uint32_t>(kMessageSize);
  std::uint32_t writeChunk_ = kMaxWriteChunk;
};

}  // namespace zavik::I2cScheduler
