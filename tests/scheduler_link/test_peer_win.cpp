#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include "test_peer_platform.h"

namespace linktest::platform {

namespace {

// Reference-counted by Windows Sockets: harmless next to the library's own start-up.
struct SocketLayer {
  SocketLayer() {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
  }
  ~SocketLayer() { WSACleanup(); }
};

void EnsureStarted() { static SocketLayer layer; }

SOCKET AsSocket(std::intptr_t s) { return static_cast<SOCKET>(s); }

std::intptr_t FromSocket(SOCKET s) { return s == INVALID_SOCKET ? -1 : static_cast<std::intptr_t>(s); }

int Clamp(std::size_t count) { return count > 1 << 30 ? 1 << 30 : static_cast<int>(count); }

}  // namespace

std::intptr_t OpenLoopbackSocket(bool listen, std::uint16_t& port) {
  EnsureStarted();
  const SOCKET s = ::socket(AF_INET, SOCK_STREAM, 0);
  if (s == INVALID_SOCKET) return -1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int length = sizeof address;
  if (::bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      (listen && ::listen(s, 4) != 0) ||
      ::getsockname(s, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    ::closesocket(s);
    return -1;
  }
  port = ntohs(address.sin_port);
  return FromSocket(s);
}

std::intptr_t AcceptWithin(std::intptr_t listener, int milliseconds) {
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(AsSocket(listener), &readable);
  timeval limit{milliseconds / 1000, (milliseconds % 1000) * 1000};
  if (::select(0, &readable, nullptr, nullptr, &limit) != 1) return -1;
  return FromSocket(::accept(AsSocket(listener), nullptr, nullptr));
}

long SendSome(std::intptr_t socket, const std::uint8_t* bytes, std::size_t count) {
  return ::send(AsSocket(socket), reinterpret_cast<const char*>(bytes), Clamp(count), 0);
}

long ReceiveSome(std::intptr_t socket, std::uint8_t* bytes, std::size_t count) {
  return ::recv(AsSocket(socket), reinterpret_cast<char*>(bytes), Clamp(count), 0);
}

void SetNoDelay(std::intptr_t socket) {
  int one = 1;
  ::setsockopt(AsSocket(socket), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&one), sizeof one);
}

void Shutdown(std::intptr_t socket) { ::shutdown(AsSocket(socket), SD_BOTH); }

void CloseSocket(std::intptr_t socket) { ::closesocket(AsSocket(socket)); }

double ProcessCpuSeconds() {
  FILETIME created, exited, kernel, user;
  if (!GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user)) return 0;
  auto seconds = [](const FILETIME& t) {
    return ((static_cast<unsigned long long>(t.dwHighDateTime) << 32) | t.dwLowDateTime) / 1e7;
  };
  return seconds(kernel) + seconds(user);
}

}  // namespace linktest::platform
