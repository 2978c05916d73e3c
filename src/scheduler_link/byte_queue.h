#pragma once
// First-in, first-out byte queue on one contiguous buffer. The channel appends
// whole socket reads at the back and cuts 13-byte messages off the front, so
// both ends must be a memcpy, never a per-byte operation or allocation. The
// consumed prefix is reclaimed lazily by sliding the live bytes down when the
// buffer would otherwise have to grow.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zavik::I2cScheduler {

class ByteQueue {
 public:
  ByteQueue() = default;
  ByteQueue(const ByteQueue&) = delete;
  ByteQueue& operator=(const ByteQueue&) = delete;

  std::size_t size() const { return tail_ - head_; }
  bool empty() const { return tail_ == head_; }
  const std::uint8_t* data() const { return buffer_.get() + head_; }

  void Append(const std::uint8_t* bytes, std::size_t count);
  // Copies the first count bytes (count <= size()) without removing them.
  void Peek(std::uint8_t* out, std::size_t count) const;
  // Copies and removes the first count bytes (count <= size()).
  void Take(std::uint8_t* out, std::size_t count);
  void Drop(std::size_t count);
  void Clear();

 private:
  void MakeRoom(std::size_t count);

  std::unique_ptr<std::uint8_t[]> buffer_;
  std::size_t capacity_ = 0;
  std::size_t head_ = 0;
  std::size_t tail_ = 0;
};

}  // namespace zavik::I2cScheduler
