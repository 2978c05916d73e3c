#include "scripted_peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace zavik::I2cApi::Testing {

namespace {

constexpr std::size_t kEntrySize = 29627;

void PutBig32(std::vector<std::uint8_t>& entry, std::size_t offset, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) entry[offset + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

void PutList(std::vector<std::uint8_t>& entry, std::size_t offset, const std::vector<std::uint32_t>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) PutBig32(entry, offset + 4 * i, values[i]);
}

// Only the fields the library acts on; versions stay 0.0.0 (not compared).
std::vector<std::uint8_t> BoardEntry(const BoardInfo& board) {
  std::vector<std::uint8_t> entry(kEntrySize, 0);
  std::memcpy(entry.data(), board.name.data(), std::min<std::size_t>(board.name.size(), 20));
  entry[20] = static_cast<std::uint8_t>(board.boardNumber >> 8);
  entry[21] = static_cast<std::uint8_t>(board.boardNumber);
  entry[40] = static_cast<std::uint8_t>(board.boardType);
  entry[65] = board.capabilityFlags[8];
  entry[66] = board.capabilityFlags[9];
  entry[327] = 100;  // the one list that does not end at 0
  PutList(entry, 1493, board.bitrates);
  PutList(entry, 29493, board.highSpeedBitrates);
  PutBig32(entry, 29621, board.maxReadLength);
  return entry;
}

void AppendBoardList(const BoardInfo& board, MessageQueue& replies) {
  SchedulerMessage begin = SchedulerMessage::WithCode(19);
  begin.SetU32At(4, kEntrySize);
  replies.push_back(begin);
  const std::vector<std::uint8_t> entry = BoardEntry(board);
  for (std::size_t offset = 0; offset < entry.size(); offset += 9) {
    SchedulerMessage piece = SchedulerMessage::WithCode(20);
    for (std::size_t i = 0; i < 9 && offset + i < entry.size(); ++i) piece.SetByte(4 + i, entry[offset + i]);
    replies.push_back(piece);
  }
  replies.push_back(SchedulerMessage::WithCode(21));
}

SchedulerMessage Acknowledgement(std::uint32_t value) {
  SchedulerMessage m = SchedulerMessage::WithCode(13);
  m.SetU32At(4, value);
  return m;
}

SchedulerMessage VccReport(std::uint16_t millivolts) {
  SchedulerMessage m = SchedulerMessage::WithCode(24);
  m.SetU16At(4, millivolts);
  return m;
}

bool IsMasterRecord(std::uint32_t code) { return code >= 16 && code <= 19; }
bool IsTenBitHeader(std::uint8_t addressByte) { return (addressByte & 0xFC) == 0x78; }

// Data records of a write: the 10-bit low byte first, then at least one.
std::size_t DataRecordsOfWrite(const SchedulerMessage& header) {
  const std::uint32_t count = header.U32At(5);
  if (IsTenBitHeader(header.Byte(4))) return 1 + std::max<std::size_t>(1, (count - 1 + 7) / 8);
  return std::max<std::size_t>(1, (count + 7) / 8);
}

// One message of a transfer as the peer understood it.
struct Message {
  bool read = false;
  int address = 0;  // 7-bit address, or 10-bit address
  bool tenBit = false;
  std::vector<std::uint8_t> data;  // written bytes (without a 10-bit low byte)
  std::uint32_t readCount = 0;
};

// Splits the records after 19 into messages; a 10-bit read takes its low
// address byte from the write before it.
std::vector<Message> Messages(const TransferRecords& records) {
  std::vector<Message> messages;
  int lastTenBit = -1;
  for (std::size_t i = 1; i < records.size(); ++i) {
    const SchedulerMessage& r = records[i];
    if (r.Code() != 16 && r.Code() != 17) continue;
    Message m;
    m.read = r.Code() == 17;
    m.tenBit = IsTenBitHeader(r.Byte(4));
    m.address = r.Byte(4);
    if (m.read) {
      m.readCount = r.U32At(5);
      if (m.tenBit) m.address = lastTenBit;
    } else {
      const std::size_t n = DataRecordsOfWrite(r);
      for (std::size_t k = 1; k <= n && i + k < records.size(); ++k) {
        const SchedulerMessage& d = records[i + k];
        for (std::uint8_t b = 0; b < d.Byte(4) && b < 8; ++b) m.data.push_back(d.Byte(5 + b));
      }
      if (m.tenBit && !m.data.empty()) {
        m.address = ((r.Byte(4) & 3) << 8) | m.data.front();
        m.data.erase(m.data.begin());
        lastTenBit = m.address;
      }
    }
    messages.push_back(m);
  }
  return messages;
}

void PutByte(MessageQueue& q, std::uint8_t value, bool acknowledged) {
  for (int bit = 7; bit >= 0; --bit) {
    SchedulerMessage m = SchedulerMessage::WithCode(7);
    m.SetByte(4, static_cast<std::uint8_t>((value >> bit) & 1));
    q.push_back(m);
  }
  SchedulerMessage ack = SchedulerMessage::WithCode(7);
  ack.SetByte(4, acknowledged ? 0 : 1);
  q.push_back(ack);
}

}  // namespace

bool TransferComplete(const TransferRecords& records) {
  if (records.empty() || records[0].Code() != 19) return false;
  for (std::size_t i = 1; i < records.size(); ++i) {
    const SchedulerMessage& r = records[i];
    if (r.Code() == 17 && r.Byte(9) == 1) return true;
    if (r.Code() == 16) {
      const std::size_t end = i + DataRecordsOfWrite(r);
      if (r.Byte(9) == 1) return records.size() > end;
      i = end;
    }
  }
  return false;
}

MessageQueue HealthyBus(const TransferRecords& records, const std::vector<int>& absent) {
  MessageQueue q;
  q.push_back(Acknowledgement(30));
  const bool highSpeed = records[0].U32At(8) != 0;
  for (const Message& m : Messages(records)) {
    if (highSpeed) {  // the master code goes out at full-speed and nobody acknowledges it
      q.push_back(SchedulerMessage::WithCode(22));
      q.push_back(SchedulerMessage::WithCode(5));
      PutByte(q, 0x08, false);
    }
    q.push_back(SchedulerMessage::WithCode(22));
    q.push_back(SchedulerMessage::WithCode(5));
    const bool present = std::find(absent.begin(), absent.end(), m.address) == absent.end();
    const std::uint8_t rw = m.read ? 1 : 0;
    if (m.tenBit) {
      PutByte(q, static_cast<std::uint8_t>(((0x78 | (m.address >> 8)) << 1) | rw), present);
      if (present && !m.read) PutByte(q, static_cast<std::uint8_t>(m.address), true);
    } else {
      PutByte(q, static_cast<std::uint8_t>((m.address << 1) | rw), present);
    }
    if (!present) {
      q.push_back(SchedulerMessage::WithCode(6));
      return q;
    }
    if (m.read) {
      for (std::uint32_t i = 0; i < m.readCount; ++i) PutByte(q, static_cast<std::uint8_t>(0xC0 + i), i + 1 < m.readCount);
    } else {
      for (std::uint8_t b : m.data) PutByte(q, b, true);
    }
  }
  q.push_back(SchedulerMessage::WithCode(6));
  return q;
}

BoardInfo TestBoard(std::uint32_t boardType) {
  BoardInfo board;
  board.name = "scripted";
  board.boardNumber = 7;
  board.boardType = boardType;
  board.capabilityFlags[8] = 1;
  board.capabilityFlags[9] = 1;
  board.bitrates = {100000, 400000};
  board.highSpeedBitrates = {3400000};
  board.maxReadLength = 300;
  return board;
}

ScriptedPeer::ScriptedPeer(BoardInfo board, std::uint16_t vccMillivolts, TransferScript script)
    : board_(std::move(board)), vcc_(vccMillivolts), script_(std::move(script)) {
  listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  socklen_t length = sizeof address;
  if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener_, 1) != 0 || ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("scripted peer cannot listen");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { Serve(); });
}

ScriptedPeer::~ScriptedPeer() {
  ::shutdown(listener_, SHUT_RDWR);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (connection_ >= 0) ::shutdown(connection_, SHUT_RDWR);
  }
  thread_.join();
  if (connection_ >= 0) ::close(connection_);
  ::close(listener_);
}

std::vector<SchedulerMessage> ScriptedPeer::Received() {
  std::lock_guard<std::mutex> lock(mutex_);
  return received_;
}

std::vector<SchedulerMessage> ScriptedPeer::MasterRecords() {
  std::vector<SchedulerMessage> master;
  for (const SchedulerMessage& r : Received()) {
    if (IsMasterRecord(r.Code())) master.push_back(r);
  }
  return master;
}

void ScriptedPeer::ClearReceived() {
  std::lock_guard<std::mutex> lock(mutex_);
  received_.clear();
}

void ScriptedPeer::Push(const MessageQueue& records) { SendAll(records); }

void ScriptedPeer::Disconnect() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (connection_ >= 0) ::shutdown(connection_, SHUT_RDWR);
}

void ScriptedPeer::SendAll(const MessageQueue& records) {
  std::vector<std::uint8_t> bytes;
  for (const SchedulerMessage& r : records) bytes.insert(bytes.end(), r.bytes, r.bytes + I2cScheduler::kMessageSize);
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = ::send(connection_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) return;
    sent += static_cast<std::size_t>(n);
  }
}

void ScriptedPeer::Serve() {
  const int connection = ::accept(listener_, nullptr, nullptr);
  if (connection < 0) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    connection_ = connection;
  }
  SchedulerMessage greeting;
  greeting.SetByte(4, 1);
  greeting.SetByte(5, 6);
  SendAll(MessageQueue{greeting});

  std::vector<std::uint8_t> pending;
  std::uint8_t buffer[4096];
  for (;;) {
    const ssize_t n = ::recv(connection, buffer, sizeof buffer, 0);
    if (n <= 0) return;
    pending.insert(pending.end(), buffer, buffer + n);
    std::size_t used = 0;
    MessageQueue replies;
    for (; pending.size() - used >= I2cScheduler::kMessageSize; used += I2cScheduler::kMessageSize) {
      SchedulerMessage record;
      std::memcpy(record.bytes, pending.data() + used, I2cScheduler::kMessageSize);
      {
        std::lock_guard<std::mutex> lock(mutex_);
        received_.push_back(record);
      }
      Answer(record, replies);
    }
    pending.erase(pending.begin(), pending.begin() + static_cast<long>(used));
    SendAll(replies);
  }
}

void ScriptedPeer::Answer(const SchedulerMessage& record, MessageQueue& replies) {
  switch (record.Code()) {
    case 0:
      AppendBoardList(board_, replies);
      return;
    case 2:
      replies.push_back(Acknowledgement(1));
      replies.push_back(VccReport(vcc_));
      return;
    case 3:
      replies.push_back(Acknowledgement(3));
      return;
    default:
      break;
  }
  if (!IsMasterRecord(record.Code())) return;
  if (record.Code() == 19) transfer_.clear();
  transfer_.push_back(record);
  if (!TransferComplete(transfer_)) return;
  const MessageQueue reports = script_(transfer_);
  replies.insert(replies.end(), reports.begin(), reports.end());
  transfer_.clear();
}

}  // namespace zavik::I2cApi::Testing
