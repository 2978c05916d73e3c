#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "test_peer_platform.h"

namespace linktest::platform {

std::intptr_t OpenLoopbackSocket(bool listen, std::uint16_t& port) {
  const int s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (s < 0) return -1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (::bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      (listen && ::listen(s, 4) != 0) ||
      ::getsockname(s, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    ::close(s);
    return -1;
  }
  port = ntohs(address.sin_port);
  return s;
}

std::intptr_t AcceptWithin(std::intptr_t listener, int milliseconds) {
  pollfd p{static_cast<int>(listener), POLLIN, 0};
  if (::poll(&p, 1, milliseconds) != 1) return -1;
  const int s = ::accept(static_cast<int>(listener), nullptr, nullptr);
  return s < 0 ? -1 : s;
}

long SendSome(std::intptr_t socket, const std::uint8_t* bytes, std::size_t count) {
  return ::send(static_cast<int>(socket), bytes, count, MSG_NOSIGNAL);
}

long ReceiveSome(std::intptr_t socket, std::uint8_t* bytes, std::size_t count) {
  return ::recv(static_cast<int>(socket), bytes, count, 0);
}

void SetNoDelay(std::intptr_t socket) {
  int one = 1;
  ::setsockopt(static_cast<int>(socket), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

void Shutdown(std::intptr_t socket) { ::shutdown(static_cast<int>(socket), SHUT_RDWR); }

void CloseSocket(std::intptr_t socket) { ::close(static_cast<int>(socket)); }

double ProcessCpuSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

}  // namespace linktest::platform
