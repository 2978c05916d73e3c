#include "api/board_list_decoder.h"

#include <string>

namespace zavik::I2cApi {

namespace {

constexpr std::size_t kNameSize = 20;
constexpr std::size_t kListASize = 64;
constexpr std::size_t kListBSize = 64;
constexpr std::size_t kListCSize = 64;
constexpr std::size_t kListDSize = 256;
constexpr std::size_t kBitrateCount = 7000;
constexpr std::size_t kHighSpeedBitrateCount = 32;
constexpr std::uint8_t kListBEnd = 100;
constexpr std::size_t kRawCapabilityFlag = 5;  // the capability flag kept as received

// Walks the stream from its front without consuming it; the caller drops the
// whole entry at once afterwards. Numbers are big-endian unless named
// otherwise.
class EntryReader {
 public:
  explicit EntryReader(const std::deque<std::uint8_t>& stream) : at_(stream.begin()) {}

  std::uint8_t Byte() { return *at_++; }
  std::uint16_t U16() {
    const unsigned high = Byte();
    return static_cast<std::uint16_t>((high << 8) | Byte());
  }
  std::uint32_t U32() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = (value << 8) | Byte();
    return value;
  }
  std::uint16_t U16LittleEndian() {
    const unsigned low = Byte();
    return static_cast<std::uint16_t>(low | (unsigned(Byte()) << 8));
  }
  void Skip(std::size_t count) { at_ += static_cast<std::ptrdiff_t>(count); }

  // A list field occupies all of its elements in the stream; values are
  // taken up to the first end value, the rest of the field is skipped.
  template <typename T, typename ReadOne>
  void List(std::vector<T>& out, std::size_t elements, T endValue, std::size_t elementSize, ReadOne readOne) {
    out.clear();
    std::size_t taken = 0;
    while (taken < elements) {
      const T value = readOne();
      ++taken;
      if (value == endValue) break;
      out.push_back(value);
    }
    Skip((elements - taken) * elementSize);
  }
  void U32List(std::vector<std::uint32_t>& out, std::size_t elements) {
    List<std::uint32_t>(out, elements, 0u, 4, [this] { return U32(); });
  }
  void ByteList(std::vector<std::uint8_t>& out, std::size_t elements, std::uint8_t endValue) {
    List<std::uint8_t>(out, elements, endValue, 1, [this] { return Byte(); });
  }

 private:
  std::deque<std::uint8_t>::const_iterator at_;
};

std::string ReadName(EntryReader& in) {
  std::string name;
  std::size_t read = 0;
  while (read < kNameSize) {
    const std::uint8_t c = in.Byte();
    ++read;
    if (c == 0) break;
    name.push_back(static_cast<char>(c));
  }
  in.Skip(kNameSize - read);
  return name;
}

// An all-zero triple means the component is absent.
void ReadVersion(EntryReader& in, std::map<std::string, Version>& versions, const char* label) {
  Version v;
  v.major = in.Byte();
  v.minor = in.Byte();
  v.build = in.Byte();
  if (v.major != 0 || v.minor != 0 || v.build != 0) versions[label] = v;
}

template <std::size_t N>
void ReadFlags(EntryReader& in, std::array<std::uint8_t, N>& flags, std::size_t keepRawElement) {
  for (std::size_t i = 0; i < N; ++i) {
    const std::uint8_t b = in.Byte();
    flags[i] = (i == keepRawElement) ? b : static_cast<std::uint8_t>(b != 0);
  }
}

}  // namespace

bool HoldsBoardEntry(const std::deque<std::uint8_t>& stream, std::uint32_t announcedEntrySize) {
  return stream.size() >= announcedEntrySize && stream.size() >= kBoardEntrySize;
}

BoardInfo TakeBoardEntry(std::deque<std::uint8_t>& stream) {
  BoardInfo board;
  EntryReader in(stream);
  board.name = ReadName(in);
  board.boardNumber = in.U16();
  for (const char* label : {kFirmwareLabel, kFpgaLabel, kDriverLabel}) {
    ReadVersion(in, board.installedVersions, label);
    ReadVersion(in, board.requiredVersions, label);
  }
  board.boardType = in.Byte();
  for (std::uint16_t& word : board.extraWords) word = in.U16LittleEndian();
  in.Skip(2);
  board.extraValue = in.U32();
  ReadFlags(in, board.capabilityFlags, kRawCapabilityFlag);
  in.U32List(board.listA, kListASize);
  in.ByteList(board.listB, kListBSize, kListBEnd);
  in.ByteList(board.listC, kListCSize, 0);
  in.U32List(board.listD, kListDSize);
  board.valueE = in.U16();
  board.valueF = in.U32();
  ReadFlags(in, board.moreFlags, board.moreFlags.size());
  in.U32List(board.bitrates, kBitrateCount);
  in.U32List(board.highSpeedBitrates, kHighSpeedBitrateCount);
  board.maxReadLength = in.U32();
  board.valueG = in.U16();
  stream.erase(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(kBoardEntrySize));
  return board;
}

}  // namespace zavik::I2cApi
