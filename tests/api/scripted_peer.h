#pragma once
// A scheduler played by a test (POSIX only): a thread that listens on an
// ephemeral 127.0.0.1 port, accepts one client and runs a script against it.
// Every receive has a deadline, so a client that never sends fails the script
// instead of hanging it; when the script ends the connection is closed, so a
// client that waits for an answer that never comes ends with CExceptionIo.
// BoardService is a ready-made script: one board, and a bus that answers each
// master transfer as the test decides.

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <initializer_list>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "board_entry_bytes.h"
#include "bus_reports.h"

namespace zavik::I2cApi::Testing {

constexpr int kPeerDeadlineMs = 5000;

struct PeerFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline SchedulerMessage Greeting(std::uint8_t major = 1, std::uint8_t minor = 6, std::uint8_t build = 2,
                                 std::uint8_t busy = 0) {
  SchedulerMessage m = Record(0);
  m.SetByte(4, major);
  m.SetByte(5, minor);
  m.SetByte(6, build);
  m.SetByte(8, busy);
  return m;
}

class PeerConnection {
 public:
  PeerConnection(int fd, std::shared_future<void> clientReady) : fd_(fd), clientReady_(std::move(clientReady)) {}

  // Records sent together with the greeting are dropped with it, so a script
  // that sends unasked records waits until the test has its client.
  void AwaitClient() {
    if (clientReady_.wait_for(std::chrono::milliseconds(kPeerDeadlineMs)) != std::future_status::ready) {
      throw PeerFailure("the test never reported its client ready");
    }
  }

  template <typename Records>
  void Send(const Records& records) {
    std::vector<std::uint8_t> bytes;
    for (const SchedulerMessage& m : records) bytes.insert(bytes.end(), m.bytes, m.bytes + sizeof m.bytes);
    SendBytes(bytes.data(), bytes.size());
  }
  void Send(std::initializer_list<SchedulerMessage> records) { Send<>(records); }

  void SendBytes(const std::uint8_t* bytes, std::size_t count) {
    for (ssize_t n = 0; count > 0; bytes += n, count -= static_cast<std::size_t>(n)) {
      n = ::send(fd_, bytes, count, MSG_NOSIGNAL);
      if (n <= 0) throw PeerFailure("peer could not send");
    }
  }

  // The next record, which must carry the code, within the deadline.
  SchedulerMessage Expect(std::uint32_t code) {
    SchedulerMessage m;
    if (!ReceiveWithin(m, kPeerDeadlineMs)) throw PeerFailure("client sent no record in time");
    if (m.Code() != code) {
      throw PeerFailure("expected code " + std::to_string(code) + ", got " + std::to_string(m.Code()));
    }
    return m;
  }

  // Fails when the client sends anything within the given time.
  void ExpectSilence(int milliseconds) {
    SchedulerMessage m;
    if (ReceiveWithin(m, milliseconds)) throw PeerFailure("unexpected code " + std::to_string(m.Code()));
  }

  // Everything the client still sends until it closes the connection.
  std::vector<SchedulerMessage> ReceiveUntilClosed() {
    std::vector<SchedulerMessage> rest;
    SchedulerMessage m;
    while (ReceiveWithin(m, kPeerDeadlineMs)) rest.push_back(m);
    if (!closedByClient_) throw PeerFailure("client did not close the connection");
    return rest;
  }

  bool ClosedByClient() const { return closedByClient_; }

  bool ReceiveWithin(SchedulerMessage& out, int milliseconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (pending_.size() < sizeof out.bytes) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0 || closedByClient_) return false;
      pollfd p{fd_, POLLIN, 0};
      if (::poll(&p, 1, static_cast<int>(left.count())) <= 0) continue;
      std::uint8_t buffer[4096];
      const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
      if (n <= 0) closedByClient_ = true;
      if (n > 0) pending_.insert(pending_.end(), buffer, buffer + n);
    }
    std::copy(pending_.begin(), pending_.begin() + sizeof out.bytes, out.bytes);
    pending_.erase(pending_.begin(), pending_.begin() + sizeof out.bytes);
    return true;
  }

 private:
  int fd_;
  std::shared_future<void> clientReady_;
  bool closedByClient_ = false;
  std::vector<std::uint8_t> pending_;
};

class ScriptedPeer {
 public:
  using Script = std::function<void(PeerConnection&)>;

  explicit ScriptedPeer(Script script) {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 4) != 0 || ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("cannot listen on an ephemeral port");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this, script = std::move(script)] { Run(script); });
  }
  ~ScriptedPeer() { Join(); }
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;

  std::uint16_t Port() const { return port_; }
  // Called by the test once its client is constructed (see AwaitClient).
  void ClientReady() { ready_.set_value(); }

  // Waits until the script has ended and its connection is closed.
  void Join() {
    if (thread_.joinable()) thread_.join();
    if (listener_ >= 0) ::close(listener_);
    listener_ = -1;
  }

 private:
  void Run(const Script& script) {
    pollfd p{listener_, POLLIN, 0};
    if (::poll(&p, 1, kPeerDeadlineMs * 2) <= 0) {
      ADD_FAILURE() << "no client connected to the scripted peer";
      return;
    }
    const int fd = ::accept(listener_, nullptr, nullptr);
    PeerConnection connection(fd, ready_.get_future().share());
    try {
      script(connection);
    } catch (const PeerFailure& failure) {
      ADD_FAILURE() << "scripted peer: " << failure.what();
    }
    ::close(fd);
  }

  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::promise<void> ready_;
  std::thread thread_;
};

// A port on which nothing listens: bound once, then released.
inline std::uint16_t UnusedPort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

// One master transfer as received: 19 and the records after it.
using TransferRecords = std::vector<SchedulerMessage>;

inline bool TenBitHeader(std::uint8_t addressByte) { return (addressByte & 0xFC) == 0x78; }

// Data records after a write header: the 10-bit low byte has its own, then at least one.
inline std::size_t DataRecords(const SchedulerMessage& header) {
  const std::uint32_t n = header.U32At(5);
  if (TenBitHeader(header.Byte(4))) return 1 + std::max<std::size_t>(1, (n + 6) / 8);
  return std::max<std::size_t>(1, (n + 7) / 8);
}

// True when the records hold a whole transfer: 19, then messages up to one
// whose header carries the last flag, with all of its data records.
inline bool TransferComplete(const TransferRecords& records) {
  if (records.empty() || records[0].Code() != 19) return false;
  for (std::size_t i = 1; i < records.size(); ++i) {
    const SchedulerMessage& r = records[i];
    if (r.Code() == 17 && r.Byte(9) == 1) return true;
    if (r.Code() != 16) continue;
    const std::size_t end = i + DataRecords(r);
    if (r.Byte(9) == 1) return records.size() > end;
    i = end;
  }
  return false;
}

// The bus reports of a transfer where every slave answers: 13 {30}, then per
// message 22, START, the address byte(s) acknowledged, the written bytes
// acknowledged or the read bytes (0xC0, 0xC1, ...) acknowledged by the master
// except the last, and a STOP at the end. At high speed each message begins
// with the master code 0x08, not acknowledged.
inline MessageQueue HealthyBus(const TransferRecords& t) {
  MessageQueue q{Status(30)};
  int tenBitAddress = -1;  // a 10-bit read addresses the slave of the write before it
  for (std::size_t i = 1; i < t.size(); ++i) {
    const SchedulerMessage& h = t[i];
    if (h.Code() != 16 && h.Code() != 17) continue;
    const bool read = h.Code() == 17, tenBit = TenBitHeader(h.Byte(4));
    std::vector<std::uint8_t> data;
    for (std::size_t k = 1; !read && k <= DataRecords(h) && i + k < t.size(); ++k)
      for (std::uint8_t b = 0; b < t[i + k].Byte(4) && b < 8; ++b) data.push_back(t[i + k].Byte(5 + b));
    if (tenBit && !read && !data.empty()) {
      tenBitAddress = ((h.Byte(4) & 3) << 8) | data.front();
      data.erase(data.begin());
    }
    const int address = tenBit ? tenBitAddress : h.Byte(4);
    if (t[0].U32At(8) != 0) {  // the master code, at full speed, acknowledged by nobody
      q.insert(q.end(), {Record(22), Record(5)});
      ByteWithAck(q, 0x08, false);
    }
    q.insert(q.end(), {Record(22), Record(5)});
    if (tenBit) {
      ByteWithAck(q, static_cast<std::uint8_t>(((0x78 | (address >> 8)) << 1) | read), true);
      if (!read) ByteWithAck(q, static_cast<std::uint8_t>(address), true);
    } else {
      ByteWithAck(q, static_cast<std::uint8_t>((address << 1) | read), true);
    }
    for (std::uint32_t n = 0; read && n < h.U32At(5); ++n) ByteWithAck(q, static_cast<std::uint8_t>(0xC0 + n), n + 1 < h.U32At(5));
    for (std::uint8_t b : data) ByteWithAck(q, b, true);
  }
  q.push_back(Record(6));
  return q;
}

// A scheduler with one board: it greets as 1.6, answers the board list with
// the entry, open with 1 and a Vcc report, close with 3, and each whole
// master transfer with the bus script's reports (none: it hangs up). It
// records everything it receives.
class BoardService {
 public:
  using BusScript = std::function<MessageQueue(const TransferRecords&)>;

  BoardService(EntryBytes entry, std::uint16_t vcc, BusScript bus)
      : entry_(std::move(entry)), vcc_(vcc), bus_(std::move(bus)) {}

  void Serve(PeerConnection& p) {
    p.Send({Greeting()});
    TransferRecords transfer;
    for (SchedulerMessage r; !p.ClosedByClient();) {
      if (!p.ReceiveWithin(r, 100)) continue;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        received_.push_back(r);
      }
      if (r.Code() == 0) p.Send(BoardListRecords(entry_.Bytes()));
      if (r.Code() == 2) p.Send({Status(1), Vcc(vcc_)});
      if (r.Code() == 3) p.Send({Status(3)});
      if (r.Code() < 16 || r.Code() > 19) continue;
      if (r.Code() == 19) transfer.clear();
      transfer.push_back(r);
      if (!TransferComplete(transfer)) continue;
      const MessageQueue reports = bus_(transfer);
      if (reports.empty()) return;
      p.Send(reports);
    }
  }

  std::vector<SchedulerMessage> Received() {
    std::lock_guard<std::mutex> lock(mutex_);
    return received_;
  }
  // The master records (16 to 19) received since the last Clear.
  std::vector<SchedulerMessage> MasterRecords() {
    std::vector<SchedulerMessage> master;
    for (const SchedulerMessage& r : Received())
      if (r.Code() >= 16 && r.Code() <= 19) master.push_back(r);
    return master;
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    received_.clear();
  }

 private:
  EntryBytes entry_;
  std::uint16_t vcc_;
  BusScript bus_;
  std::mutex mutex_;
  std::vector<SchedulerMessage> received_;
};

}  // namespace zavik::I2cApi::Testing
