#include "scheduler_link/posix/ipc_posix_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zavik::I2cScheduler {

namespace {

bool WouldBlock(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

CIpcPosixSocket::CIpcPosixSocket(std::uint16_t port, const char* host) {
  if (Connect(port, host)) StartIo();
}

CIpcPosixSocket::~CIpcPosixSocket() {
  if (socket_ >= 0) Close();
}

bool CIpcPosixSocket::Connect(std::uint16_t port, const char* host) {
  socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket_ < 0) return false;
  SetOpen(true);

  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr(host == nullptr ? "" : host);
  // Loopback connects complete or fail at once, so the blocking connect
  // never waits; the socket turns non-blocking afterwards.
  int rc;
  do {
    rc = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) {
    Close();
    return false;
  }
  if (WantsNoDelay(host)) {
    int one = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  }
  const int flags = ::fcntl(socket_, F_GETFL, 0);
  if (flags < 0 || ::fcntl(socket_, F_SETFL, flags | O_NONBLOCK) < 0) {
    Close();
    return false;
  }
  return true;
}

void CIpcPosixSocket::StartIo() {
  ResetWriteChunk();
  readSignal_ = ReadinessSignal{socket_, POLLIN, false};
  writeSignal_ = ReadinessSignal{socket_, POLLOUT, false};
  endpoint_.readEvent = &readSignal_;
  endpoint_.writeEvent = &writeSignal_;
  ServiceRead();
}

bool CIpcPosixSocket::ServiceRead() {
  if (!IsOpen()) return false;
  if (ReadingPaused()) {
    // Resumes in a later call, once the queue has been drained.
    readSignal_.armed = false;
    return true;
  }
  const ssize_t n = ::recv(socket_, readBuffer_, sizeof readBuffer_, MSG_DONTWAIT);
  if (n > 0) {
    AcceptReceived(readBuffer_, static_cast<std::size_t>(n));
    // More may be waiting in the socket: watch it, unless this read pushed
    // the queue over the pause level, where a wake-up would only spin.
    readSignal_.armed = !ReadingPaused();
    return true;
  }
  if (n < 0 && WouldBlock(errno)) {
    readSignal_.armed = true;
    return true;
  }
  // Zero bytes: the scheduler closed the connection; anything else: broken.
  Close();
  return false;
}

bool CIpcPosixSocket::ServiceWrite() {
  if (!IsOpen()) return false;
  if (SendQueueEmpty()) {
    writeSignal_.armed = false;
    return true;
  }
  const std::uint32_t requested = PrepareWriteInPlace();
  const ssize_t w = ::send(socket_, SendQueueFront(), requested, MSG_DONTWAIT | MSG_NOSIGNAL);
  if (w >= 0) {
    CompleteWrite(static_cast<std::uint32_t>(w), requested);
    // A short write means the socket buffer is full: wait until it drains.
    writeSignal_.armed = !SendQueueEmpty();
    return true;
  }
  if (WouldBlock(errno)) {
    writeSignal_.armed = true;
    return true;
  }
  Close();
  return false;
}

void CIpcPosixSocket::Close() {
  if (socket_ >= 0) {
    ::close(socket_);
    socket_ = -1;
  }
  readSignal_.armed = false;
  writeSignal_.armed = false;
  readSignal_.fd = writeSignal_.fd = -1;
  MarkClosed();
}

}  // namespace zavik::I2cScheduler
