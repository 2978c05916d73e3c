#pragma once
// A scheduler stand-in for channel tests: a thread that listens on an
// ephemeral 127.0.0.1 port, accepts one connection and runs a script on it.
// One implementation per platform socket API; the tests themselves are the
// same everywhere.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>

namespace linktest {

class PeerConnection {
 public:
  explicit PeerConnection(std::intptr_t socket) : socket_(socket) {}
  // Blocking; false when the connection broke before everything went out.
  bool Send(const std::uint8_t* bytes, std::size_t count);
  // Sends one byte per segment, pausing between them, so that the client
  // sees them in separate reads.
  bool SendByteByByte(const std::uint8_t* bytes, std::size_t count);
  // Blocking; false when the connection ended before count bytes arrived.
  bool Receive(std::uint8_t* bytes, std::size_t count);
  // Discards whatever arrives until the client closes its end.
  void AwaitClientClose();
  void Close();

 private:
  std::intptr_t socket_;
};

class TestPeer {
 public:
  using Script = std::function<void(PeerConnection&)>;
  explicit TestPeer(Script script);
  ~TestPeer();
  TestPeer(const TestPeer&) = delete;
  TestPeer& operator=(const TestPeer&) = delete;

  std::uint16_t Port() const { return port_; }

 private:
  void Join();
  void Run(Script script);

  std::intptr_t listener_ = -1;
  std::atomic<std::intptr_t> connection_{-1};
  std::atomic<bool> stop_{false};
  std::uint16_t port_ = 0;
  std::thread thread_;
};

// A 127.0.0.1 port that is bound but not listening for as long as the object
// lives, so connecting to it is refused.
class UnlistenedPort {
 public:
  UnlistenedPort();
  ~UnlistenedPort();
  std::uint16_t Port() const { return port_; }

 private:
  std::intptr_t socket_ = -1;
  std::uint16_t port_ = 0;
};

// User plus system time of this process so far.
double ProcessCpuSeconds();

}  // namespace linktest
