#include "test_peer.h"

#include <chrono>

#include "test_peer_platform.h"

namespace linktest {

namespace {
constexpr int kAcceptDeadlineMilliseconds = 10000;
constexpr int kAcceptSliceMilliseconds = 50;
}  // namespace

bool PeerConnection::Send(const std::uint8_t* bytes, std::size_t count) {
  while (count > 0) {
    const long n = platform::SendSome(socket_, bytes, count);
    if (n <= 0) return false;
    bytes += n;
    count -= static_cast<std::size_t>(n);
  }
  return true;
}

bool PeerConnection::SendByteByByte(const std::uint8_t* bytes, std::size_t count) {
  platform::SetNoDelay(socket_);
  for (std::size_t i = 0; i < count; ++i) {
    if (!Send(bytes + i, 1)) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

bool PeerConnection::Receive(std::uint8_t* bytes, std::size_t count) {
  while (count > 0) {
    const long n = platform::ReceiveSome(socket_, bytes, count);
    if (n <= 0) return false;
    bytes += n;
    count -= static_cast<std::size_t>(n);
  }
  return true;
}

void PeerConnection::AwaitClientClose() {
  std::uint8_t sink[4096];
  while (platform::ReceiveSome(socket_, sink, sizeof sink) > 0) {
  }
}

void PeerConnection::Close() { platform::Shutdown(socket_); }

TestPeer::TestPeer(Script script) {
  listener_ = platform::OpenLoopbackSocket(true, port_);
  thread_ = std::thread(&TestPeer::Run, this, std::move(script));
}

TestPeer::~TestPeer() {
  stop_ = true;
  // The client is gone by now; wake a script still blocked in the socket.
  const std::intptr_t connection = connection_.load();
  if (connection != -1) platform::Shutdown(connection);
  Join();
  if (connection != -1) platform::CloseSocket(connection);
  if (listener_ != -1) platform::CloseSocket(listener_);
}

void TestPeer::Join() {
  if (thread_.joinable()) thread_.join();
}

void TestPeer::Run(Script script) {
  if (listener_ == -1) return;
  for (int waited = 0; waited < kAcceptDeadlineMilliseconds && !stop_; waited += kAcceptSliceMilliseconds) {
    const std::intptr_t accepted = platform::AcceptWithin(listener_, kAcceptSliceMilliseconds);
    if (accepted == -1) continue;
    connection_ = accepted;
    PeerConnection connection(accepted);
    script(connection);
    return;
  }
}

UnlistenedPort::UnlistenedPort() { socket_ = platform::OpenLoopbackSocket(false, port_); }

UnlistenedPort::~UnlistenedPort() {
  if (socket_ != -1) platform::CloseSocket(socket_);
}

double ProcessCpuSeconds() { return platform::ProcessCpuSeconds(); }

}  // namespace linktest
