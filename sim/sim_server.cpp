#include "sim/sim_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

namespace zavik::I2cSim {

using I2cScheduler::SchedulerMessage;

namespace {
// A client that does not read its answers is cut off rather than let the
// simulator's memory grow without bound.
constexpr std::size_t kMaxPendingOutput = 256u << 20;  // above the largest read's reports
constexpr std::size_t kReadBuffer = 16384;
}  // namespace

struct SimServer::Connection {
  int fd = -1;
  ClientId id = 0;
  I2cScheduler::ByteQueue input;
  std::vector<std::uint8_t> output;
  std::size_t outputSent = 0;
  std::uint32_t messagesReceived = 0;
  bool closeWhenFlushed = false;
  bool broken = false;

  std::size_t Pending() const { return output.size() - outputSent; }
};

SimServer::SimServer(const Bench& bench, const ServerOptions& options)
    : options_(options), core_(bench, clock_, *this, options.displayDir) {}

SimServer::~SimServer() {
  for (auto& [id, connection] : connections_) ::close(connection->fd);
  if (listener_ >= 0) ::close(listener_);
  if (record_ != nullptr) std::fclose(record_);
}

bool SimServer::Listen() {
  if (!options_.recordFile.empty()) {
    record_ = std::fopen(options_.recordFile.c_str(), "a");
    if (record_ == nullptr) {
      error_ = "cannot open record file '" + options_.recordFile + "': " + std::strerror(errno);
      return false;
    }
  }
  if (!options_.vcdFile.empty()) {
    waveforms_ = std::make_unique<WaveformRecorder>(options_.vcdFile, core_.Boards());
    if (!waveforms_->IsOpen()) {
      error_ = "cannot open VCD file '" + options_.vcdFile + "': " + std::strerror(errno);
      return false;
    }
    core_.Observe(waveforms_.get());
  }
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (listener_ < 0) {
    error_ = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  const int one = 1;
  ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(options_.port);
  if (::inet_pton(AF_INET, options_.host.c_str(), &address.sin_addr) != 1) {
    error_ = "bad listen address " + options_.host;
    return false;
  }
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    error_ = "cannot listen on " + options_.host + ":" + std::to_string(options_.port) + ": " + std::strerror(errno);
    return false;
  }
  if (::listen(listener_, 64) != 0) {
    error_ = std::string("listen: ") + std::strerror(errno);
    return false;
  }
  socklen_t length = sizeof address;
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  return true;
}

void SimServer::Serve(const volatile std::sig_atomic_t& stop) {
  std::vector<pollfd> fds;
  std::vector<ClientId> ids;
  while (stop == 0) {
    const std::optional<std::uint64_t> nextDue = core_.DeliverDue();
    fds.clear();
    ids.clear();
    fds.push_back(pollfd{listener_, POLLIN, 0});
    for (auto& [id, connection] : connections_) {
      short events = connection->closeWhenFlushed ? 0 : POLLIN;
      if (connection->Pending() != 0) events |= POLLOUT;
      fds.push_back(pollfd{connection->fd, events, 0});
      ids.push_back(id);
    }
    // The timeout bounds how late a signal between the check and the poll is
    // noticed, and how late held-back reports leave.
    const int timeoutMs = nextDue ? static_cast<int>(std::min<std::uint64_t>(200, (*nextDue + 999) / 1000)) : 200;
    const int ready = ::poll(fds.data(), fds.size(), timeoutMs);
    if (ready < 0) {
      if (errno == EINTR) continue;
      break;
    }
    // Clients first: a client that left frees its place before a newcomer
    // that connected in the same round is greeted.
    for (std::size_t i = 0; i < ids.size(); ++i) Service(ids[i], fds[i + 1].revents);
    if (fds[0].revents & POLLIN) Accept();
  }
}

void SimServer::Service(ClientId id, short revents) {
  const auto it = connections_.find(id);
  if (it == connections_.end()) return;
  Connection& connection = *it->second;
  if (revents & (POLLIN | POLLHUP | POLLERR)) ReadFrom(connection);
  if (!connection.broken && (revents & POLLOUT)) WriteTo(connection);
  if (connection.broken || (connection.closeWhenFlushed && connection.Pending() == 0)) Drop(connection.id);
}

// Looks, without waiting, for clients whose connection has ended, so that a
// client that closed just before another connected is not counted.
void SimServer::ReapEndedConnections() {
  std::vector<pollfd> fds;
  std::vector<ClientId> ids;
  for (auto& [id, connection] : connections_) {
    fds.push_back(pollfd{connection->fd, POLLIN, 0});
    ids.push_back(id);
  }
  if (::poll(fds.data(), fds.size(), 0) <= 0) return;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (fds[i].revents != 0) Service(ids[i], fds[i].revents);
  }
}

void SimServer::Accept() {
  for (;;) {
    const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;
    const int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    const std::uint32_t limit = core_.Settings().maxClients;
    if (limit != 0 && core_.ClientCount() >= limit) ReapEndedConnections();
    auto connection = std::make_unique<Connection>();
    connection->fd = fd;
    connection->id = nextId_++;
    const ClientId id = connection->id;
    connections_[id] = std::move(connection);
    Record("connect " + std::to_string(id));
    const SchedulerCore::Greeting greeting = core_.Connect(id);
    Send(id, greeting.message);
    if (!greeting.accepted) {
      connections_[id]->closeWhenFlushed = true;
      Trace("client " + std::to_string(id) + ": busy, refused");
    }
    // The greeting leaves on its own, before anything the client could cause.
    WriteTo(*connections_[id]);
  }
}

void SimServer::ReadFrom(Connection& connection) {
  std::uint8_t buffer[kReadBuffer];
  const ssize_t got = ::recv(connection.fd, buffer, sizeof buffer, 0);
  if (got == 0 || (got < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
    connection.broken = true;
    return;
  }
  if (got < 0) return;
  connection.input.Append(buffer, static_cast<std::size_t>(got));
  const std::uint32_t limit = core_.Settings().closeAfterMessages;
  while (connection.input.size() >= I2cScheduler::kMessageSize && !connection.closeWhenFlushed) {
    SchedulerMessage message;
    connection.input.Take(message.bytes, I2cScheduler::kMessageSize);
    ++connection.messagesReceived;
    static const char kHex[] = "0123456789abcdef";
    std::string line = "recv " + std::to_string(connection.id) + " " + std::to_string(message.Code()) + " ";
    for (std::uint8_t byte : message.bytes) {
      line += kHex[byte >> 4];
      line += kHex[byte & 15];
    }
    Record(line);
    core_.Receive(connection.id, message);
    if (limit != 0 && connection.messagesReceived >= limit) {
      connection.closeWhenFlushed = true;
      Trace("client " + std::to_string(connection.id) + ": closing after " + std::to_string(limit) + " messages");
    }
  }
}

void SimServer::WriteTo(Connection& connection) {
  std::size_t count = connection.Pending();
  const std::uint32_t chunk = core_.Settings().outputChunkBytes;
  if (chunk != 0 && count > chunk) count = chunk;
  if (count == 0) return;
  const ssize_t sent = ::send(connection.fd, connection.output.data() + connection.outputSent, count, MSG_NOSIGNAL);
  if (sent < 0) {
    if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) connection.broken = true;
    return;
  }
  connection.outputSent += static_cast<std::size_t>(sent);
  // Reclaim what has left, so that a slow reader fed in small chunks does not
  // keep everything ever sent.
  if (connection.outputSent == connection.output.size() || connection.outputSent >= (1u << 20)) {
    connection.output.erase(connection.output.begin(),
                            connection.output.begin() + static_cast<std::ptrdiff_t>(connection.outputSent));
    connection.outputSent = 0;
  }
}

void SimServer::Send(ClientId client, const SchedulerMessage& message) {
  const auto it = connections_.find(client);
  if (it == connections_.end()) return;
  Connection& connection = *it->second;
  if (connection.Pending() + I2cScheduler::kMessageSize > kMaxPendingOutput) {
    connection.broken = true;
    return;
  }
  connection.output.insert(connection.output.end(), message.bytes, message.bytes + I2cScheduler::kMessageSize);
}

void SimServer::Trace(const std::string& line) {
  if (!options_.trace) return;
  std::fprintf(stdout, "%s\n", line.c_str());
  std::fflush(stdout);
}

void SimServer::Drop(ClientId id) {
  const auto it = connections_.find(id);
  if (it == connections_.end()) return;
  ::close(it->second->fd);
  connections_.erase(it);
  core_.Disconnect(id);
  Record("disconnect " + std::to_string(id));
}

void SimServer::Record(const std::string& line) {
  if (record_ == nullptr) return;
  std::fprintf(record_, "%s\n", line.c_str());
  std::fflush(record_);
}

}  // namespace zavik::I2cSim
