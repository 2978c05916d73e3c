#include "scheduler_link/byte_queue.h"

#include <cstring>

namespace zavik::I2cScheduler {

namespace {
constexpr std::size_t kInitialCapacity = 64 * 1024;
}

void ByteQueue::Append(const std::uint8_t* bytes, std::size_t count) {
  if (count == 0) return;
  if (capacity_ - tail_ < count) MakeRoom(count);
  std::memcpy(buffer_.get() + tail_, bytes, count);
  tail_ += count;
}

void ByteQueue::Peek(std::uint8_t* out, std::size_t count) const {
  if (count != 0) std::memcpy(out, buffer_.get() + head_, count);
}

void ByteQueue::Take(std::uint8_t* out, std::size_t count) {
  Peek(out, count);
  Drop(count);
}

void ByteQueue::Drop(std::size_t count) {
  head_ += count;
  if (head_ == tail_) head_ = tail_ = 0;
}

void ByteQueue::Clear() { head_ = tail_ = 0; }

void ByteQueue::MakeRoom(std::size_t count) {
  const std::size_t live = size();
  // Reclaim the consumed prefix instead of growing, but only when it is at
  // least as large as the bytes to move: sliding a large queue down to win a
  // few bytes on every append would make appends cost the queue's size.
  if (live + count <= capacity_ && head_ >= live) {
    std::memmove(buffer_.get(), buffer_.get() + head_, live);
  } else {
    // Doubling keeps the total cost of moves linear in the bytes appended.
    std::size_t capacity = capacity_ == 0 ? kInitialCapacity : 2 * capacity_;
    while (capacity < live + count) capacity *= 2;
    std::unique_ptr<std::uint8_t[]> grown(new std::uint8_t[capacity]);
    if (live != 0) std::memcpy(grown.get(), buffer_.get() + head_, live);
    buffer_ = std::move(grown);
    capacity_ = capacity;
  }
  head_ = 0;
  tail_ = live;
}

}  // namespace zavik::I2cScheduler
