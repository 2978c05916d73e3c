#include "sim/board_entry.h"

#include <algorithm>

#include "scheduler_link/message_codes.h"

namespace zavik::I2cSim {

namespace {

using I2cApi::BoardInfo;
using I2cApi::Version;

class EntryWriter {
 public:
  explicit EntryWriter(std::vector<std::uint8_t>& out) : out_(out) {}

  void U8(std::uint8_t value) { out_.push_back(value); }
  void U16(std::uint16_t value) {
    U8(static_cast<std::uint8_t>(value >> 8));
    U8(static_cast<std::uint8_t>(value));
  }
  void U16Le(std::uint16_t value) {
    U8(static_cast<std::uint8_t>(value));
    U8(static_cast<std::uint8_t>(value >> 8));
  }
  void U32(std::uint32_t value) {
    U16(static_cast<std::uint16_t>(value >> 16));
    U16(static_cast<std::uint16_t>(value));
  }
  void Zeros(std::size_t count) { out_.insert(out_.end(), count, 0); }

  void Name(const std::string& name) {
    const std::size_t used = std::min<std::size_t>(name.size(), 20);
    out_.insert(out_.end(), name.begin(), name.begin() + static_cast<std::ptrdiff_t>(used));
    Zeros(20 - used);
  }

  void VersionOf(const std::map<std::string, Version>& versions, const char* label) {
    const auto it = versions.find(label);
    const Version version = it == versions.end() ? Version{} : it->second;
    U8(version.major);
    U8(version.minor);
    U8(version.build);
  }

  // A list field always fills its slots; the first unused slot and all after
  // it hold the end value, so a full list has none.
  void U32List(const std::vector<std::uint32_t>& values, std::size_t slots, std::uint32_t end) {
    for (std::size_t i = 0; i < slots; ++i) U32(i < values.size() ? values[i] : end);
  }
  void U8List(const std::vector<std::uint8_t>& values, std::size_t slots, std::uint8_t end) {
    for (std::size_t i = 0; i < slots; ++i) U8(i < values.size() ? values[i] : end);
  }

 private:
  std::vector<std::uint8_t>& out_;
};

}  // namespace

void SerialiseBoardEntry(const BoardInfo& board, std::vector<std::uint8_t>& out) {
  const std::size_t start = out.size();
  EntryWriter w(out);
  w.Name(board.name);
  w.U16(board.boardNumber);
  for (const char* label : {"firmware", "FPGA configuration", "driver"}) {
    w.VersionOf(board.installedVersions, label);
    w.VersionOf(board.requiredVersions, label);
  }
  w.U8(static_cast<std::uint8_t>(board.boardType));
  for (std::uint16_t word : board.extraWords) w.U16Le(word);
  w.Zeros(2);
  w.U32(board.extraValue);
  for (std::uint8_t flag : board.capabilityFlags) w.U8(flag);
  w.U32List(board.listA, 64, 0);
  w.U8List(board.listB, 64, 100);
  w.U8List(board.listC, 64, 0);
  w.U32List(board.listD, 256, 0);
  w.U16(board.valueE);
  w.U32(board.valueF);
  for (std::uint8_t flag : board.moreFlags) w.U8(flag);
  w.U32List(board.bitrates, 7000, 0);
  w.U32List(board.highSpeedBitrates, 32, 0);
  w.U32(board.maxReadLength);
  w.U16(board.valueG);
  // Overlong lists are cut by the fixed slots; the entry size never changes.
  out.resize(start + I2cApi::kBoardEntrySize, 0);
}

I2cScheduler::MessageQueue BoardListMessages(const std::vector<BoardInfo>& boards) {
  using I2cScheduler::SchedulerMessage;
  std::vector<std::uint8_t> stream;
  stream.reserve(boards.size() * I2cApi::kBoardEntrySize);
  for (const BoardInfo& board : boards) SerialiseBoardEntry(board, stream);

  I2cScheduler::MessageQueue messages;
  SchedulerMessage begin = SchedulerMessage::WithCode(I2cScheduler::FromScheduler::kBoardListBegin);
  begin.SetU32At(4, static_cast<std::uint32_t>(I2cApi::kBoardEntrySize));
  messages.push_back(begin);
  for (std::size_t offset = 0; offset < stream.size(); offset += 9) {
    SchedulerMessage piece = SchedulerMessage::WithCode(I2cScheduler::FromScheduler::kBoardListData);
    const std::size_t count = std::min<std::size_t>(9, stream.size() - offset);
    std::copy_n(stream.begin() + static_cast<std::ptrdiff_t>(offset), count, piece.bytes + 4);
    messages.push_back(piece);
  }
  messages.push_back(SchedulerMessage::WithCode(I2cScheduler::FromScheduler::kBoardListEnd));
  return messages;
}

}  // namespace zavik::I2cSim
