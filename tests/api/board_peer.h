#pragma once
// A scripted stand-in for the I2C scheduler for board client tests: a thread
// that listens on an ephemeral 127.0.0.1 port, accepts one client and runs a
// script against it. Every receive has a deadline, so a client that never
// sends makes the script fail instead of hanging; when the script ends the
// connection is closed, so a client that waits for an answer that never
// comes ends with CExceptionIo.

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi::ClientTesting {

using I2cScheduler::SchedulerMessage;

constexpr int kPeerDeadlineMs = 5000;

struct PeerFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline SchedulerMessage Greeting(std::uint8_t major = 1, std::uint8_t minor = 6, std::uint8_t build = 2,
                                 std::uint8_t busy = 0) {
  SchedulerMessage m = SchedulerMessage::WithCode(0);
  m.SetByte(4, major);
  m.SetByte(5, minor);
  m.SetByte(6, build);
  m.SetByte(8, busy);
  return m;
}

inline SchedulerMessage Ack(std::uint32_t value) {
  SchedulerMessage m = SchedulerMessage::WithCode(13);
  m.SetU32At(4, value);
  return m;
}

inline SchedulerMessage VccReport(std::uint16_t millivolts) {
  SchedulerMessage m = SchedulerMessage::WithCode(24);
  m.SetU16At(4, millivolts);
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

  void Send(const std::vector<SchedulerMessage>& records) {
    std::vector<std::uint8_t> bytes;
    for (const SchedulerMessage& m : records) bytes.insert(bytes.end(), m.bytes, m.bytes + sizeof m.bytes);
    SendBytes(bytes.data(), bytes.size());
  }
  void Send(std::initializer_list<SchedulerMessage> records) { Send(std::vector<SchedulerMessage>(records)); }

  void SendBytes(const std::uint8_t* bytes, std::size_t count) {
    while (count > 0) {
      const ssize_t n = ::send(fd_, bytes, count, MSG_NOSIGNAL);
      if (n <= 0) throw PeerFailure("peer could not send");
      bytes += n;
      count -= static_cast<std::size_t>(n);
    }
  }

  // The next record from the client, within the deadline.
  SchedulerMessage Receive() {
    SchedulerMessage m;
    if (!ReceiveWithin(m, kPeerDeadlineMs)) throw PeerFailure("client sent no record in time");
    return m;
  }

  // The next record, which must carry the code.
  SchedulerMessage Expect(std::uint32_t code) {
    SchedulerMessage m = Receive();
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

  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  bool ReceiveWithin(SchedulerMessage& out, int milliseconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (pending_.size() < sizeof out.bytes) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0 || closedByClient_) return false;
      pollfd p{fd_, POLLIN, 0};
      if (::poll(&p, 1, static_cast<int>(left.count())) <= 0) continue;
      std::uint8_t buffer[4096];
      const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
      if (n <= 0) {
        closedByClient_ = true;
        return false;
      }
      pending_.insert(pending_.end(), buffer, buffer + n);
    }
    std::copy(pending_.begin(), pending_.begin() + sizeof out.bytes, out.bytes);
    pending_.erase(pending_.begin(), pending_.begin() + sizeof out.bytes);
    return true;
  }

  int fd_;
  std::shared_future<void> clientReady_;
  bool closedByClient_ = false;
  std::vector<std::uint8_t> pending_;
};

class BoardPeer {
 public:
  using Script = std::function<void(PeerConnection&)>;

  explicit BoardPeer(Script script) {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 4) != 0) {
      throw std::runtime_error("cannot listen on an ephemeral port");
    }
    socklen_t length = sizeof address;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this, script = std::move(script)] { Run(script); });
  }

  ~BoardPeer() { Join(); }
  BoardPeer(const BoardPeer&) = delete;
  BoardPeer& operator=(const BoardPeer&) = delete;

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
    PeerConnection connection(::accept(listener_, nullptr, nullptr), ready_.get_future().share());
    try {
      script(connection);
    } catch (const PeerFailure& failure) {
      ADD_FAILURE() << "scripted peer: " << failure.what();
    }
    connection.Close();
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
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

}  // namespace zavik::I2cApi::ClientTesting
