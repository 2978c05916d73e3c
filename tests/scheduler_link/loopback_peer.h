#pragma once
// A scheduler stand-in for the socket tests: a listener on an ephemeral
// 127.0.0.1 port, the channel and a selector connected to it the way the board
// client drives them, and the accepted side, on which a script may run in its
// own thread. The same few socket calls serve Winsock and POSIX.

#ifdef _WIN32
#include <winsock2.h>
#include <windows.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <chrono>
#include <ctime>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#include "scheduler_link/ipc_base.h"
#include "scheduler_link/socket_platform.h"

namespace linktest {

#ifdef _WIN32
using Socket = SOCKET;
using AddressLength = int;
constexpr int kSendFlags = 0;
inline void CloseSocket(Socket s) { closesocket(s); }
inline double ProcessCpuSeconds() {
  FILETIME created, exited, kernel, user;
  GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
  auto seconds = [](const FILETIME& t) { return ((std::uint64_t{t.dwHighDateTime} << 32) | t.dwLowDateTime) / 1e7; };
  return seconds(kernel) + seconds(user);
}
#else
using Socket = int;
using AddressLength = socklen_t;
constexpr int kSendFlags = MSG_NOSIGNAL;
inline void CloseSocket(Socket s) { close(s); }
inline double ProcessCpuSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }
#endif
constexpr int kBothDirections = 2;  // SD_BOTH and SHUT_RDWR alike

struct Loopback {
  // Not listening, the port is bound but refuses connections.
  explicit Loopback(bool listening = true) {
    listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    AddressLength length = sizeof address;
    bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
    if (listening) listen(listener, 4);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    channel = zavik::I2cScheduler::CreateSocketChannel(ntohs(address.sin_port), "127.0.0.1");
    selector = zavik::I2cScheduler::CreateEndpointSelector();
    endpoints = {channel->GetEndpoint()};
    selector->SetReadEndpoints(&endpoints);
    selector->SetWriteEndpoints(&endpoints);
    // Loopback connects complete from the backlog: an open channel has one waiting.
    if (channel->IsOpen()) peer = accept(listener, nullptr, nullptr);
  }
  ~Loopback() {
    channel.reset();
    if (peer != kNone) shutdown(peer, kBothDirections);  // wakes a script still blocked in the socket
    if (script.joinable()) script.join();
    if (peer != kNone) CloseSocket(peer);
    CloseSocket(listener);
  }

  void Run(std::function<void()> body) { script = std::thread(std::move(body)); }

  // The peer's side, blocking; false when the connection broke first.
  // One byte per segment, paced, makes the channel see them in separate reads.
  bool Send(const void* bytes, std::size_t count, bool byteByByte = false) {
    if (byteByByte) {
      int one = 1;
      setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&one), sizeof one);
    }
    for (auto p = static_cast<const char*>(bytes); count > 0;) {
      const int n = send(peer, p, byteByByte ? 1 : static_cast<int>(count), kSendFlags);
      if (n <= 0) return false;
      p += n;
      count -= static_cast<std::size_t>(n);
      if (byteByByte) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
  }
  bool Receive(void* bytes, std::size_t count) {
    for (auto p = static_cast<char*>(bytes); count > 0;) {
      const int n = recv(peer, p, static_cast<int>(count), 0);
      if (n <= 0) return false;
      p += n;
      count -= static_cast<std::size_t>(n);
    }
    return true;
  }
  void ClosePeer() { shutdown(peer, kBothDirections); }

  // Services and waits until done() holds; false when the channel closed or
  // ten seconds passed first.
  template <class Done>
  bool PumpUntil(Done done, bool serviceWrite = true) {
    for (const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10); std::chrono::steady_clock::now() < deadline;) {
      const bool readOpen = channel->ServiceRead();
      const bool writeOpen = !serviceWrite || channel->ServiceWrite();
      if (done()) return true;
      if (!readOpen || !writeOpen) return false;
      selector->Wait(100000);
    }
    return false;
  }
  zavik::I2cScheduler::CIpcBase& Core() { return dynamic_cast<zavik::I2cScheduler::CIpcBase&>(*channel); }

  static constexpr Socket kNone = static_cast<Socket>(-1);
  Socket listener = kNone, peer = kNone;
  std::unique_ptr<zavik::I2cScheduler::CIpc> channel;
  std::unique_ptr<zavik::I2cScheduler::CSelectEndpoints> selector;
  zavik::I2cScheduler::EndpointList endpoints;
  std::thread script;
};

}  // namespace linktest
