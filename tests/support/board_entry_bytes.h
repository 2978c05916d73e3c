#pragma once
// Serialised board entries as the scheduler sends them, built field by field
// at the offsets of the entry layout (big-endian unless noted), and the
// records that carry a list of them.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "api/board_info.h"
#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi::Testing {

namespace EntryOffset {
constexpr std::size_t kName = 0;
constexpr std::size_t kBoardNumber = 20;
constexpr std::size_t kFirmware = 22;  // installed, then required 3 bytes later
constexpr std::size_t kFpga = 28;
constexpr std::size_t kDriver = 34;
constexpr std::size_t kBoardType = 40;
constexpr std::size_t kExtraWords = 41;  // five u16, little-endian
constexpr std::size_t kExtraValue = 53;
constexpr std::size_t kCapabilityFlags = 57;
constexpr std::size_t kListA = 71;
constexpr std::size_t kListB = 327;
constexpr std::size_t kListC = 391;
constexpr std::size_t kListD = 455;
constexpr std::size_t kValueE = 1479;
constexpr std::size_t kValueF = 1481;
constexpr std::size_t kMoreFlags = 1485;
constexpr std::size_t kBitrates = 1493;
constexpr std::size_t kHighSpeedBitrates = 29493;
constexpr std::size_t kMaxReadLength = 29621;
constexpr std::size_t kValueG = 29625;
}  // namespace EntryOffset

class EntryBytes {
 public:
  EntryBytes() : bytes_(kBoardEntrySize, 0) {}

  EntryBytes& U8(std::size_t at, std::uint8_t v) {
    bytes_.at(at) = v;
    return *this;
  }
  EntryBytes& U16(std::size_t at, std::uint16_t v) { return U8(at, v >> 8).U8(at + 1, v & 0xFF); }
  EntryBytes& U32(std::size_t at, std::uint32_t v) { return U16(at, v >> 16).U16(at + 2, v & 0xFFFF); }
  EntryBytes& Text(std::size_t at, const std::string& text) {
    std::memcpy(&bytes_.at(at), text.data(), text.size());
    return *this;
  }
  EntryBytes& Triple(std::size_t at, std::uint8_t a, std::uint8_t b, std::uint8_t c) {
    return U8(at, a).U8(at + 1, b).U8(at + 2, c);
  }
  EntryBytes& U32s(std::size_t at, const std::vector<std::uint32_t>& values) {
    for (std::size_t i = 0; i < values.size(); ++i) U32(at + 4 * i, values[i]);
    return *this;
  }

  // A usable board: name, number, type, one bitrate.
  static EntryBytes Board(const std::string& name, std::uint16_t number, std::uint8_t type) {
    EntryBytes e;
    e.Text(EntryOffset::kName, name).U16(EntryOffset::kBoardNumber, number).U8(EntryOffset::kBoardType, type);
    e.U32(EntryOffset::kBitrates, 100000);
    return e;
  }

  const std::vector<std::uint8_t>& Bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

// Stream bytes back to back, as records 19, 20... (last one zero-padded), 21.
inline I2cScheduler::MessageQueue BoardListRecords(const std::vector<std::uint8_t>& stream,
                                                                    std::uint32_t announcedSize = kBoardEntrySize) {
  using I2cScheduler::SchedulerMessage;
  I2cScheduler::MessageQueue records;
  SchedulerMessage begin = SchedulerMessage::WithCode(19);
  begin.SetU32At(4, announcedSize);
  records.push_back(begin);
  for (std::size_t at = 0; at < stream.size(); at += 9) {
    SchedulerMessage data = SchedulerMessage::WithCode(20);
    for (std::size_t i = 0; i < 9 && at + i < stream.size(); ++i) data.SetByte(4 + i, stream[at + i]);
    records.push_back(data);
  }
  records.push_back(SchedulerMessage::WithCode(21));
  return records;
}

inline std::vector<std::uint8_t> Concatenate(std::initializer_list<EntryBytes> entries) {
  std::vector<std::uint8_t> stream;
  for (const EntryBytes& e : entries) stream.insert(stream.end(), e.Bytes().begin(), e.Bytes().end());
  return stream;
}

}  // namespace zavik::I2cApi::Testing
