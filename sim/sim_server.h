#pragma once
// The simulator's network side: one poll loop on 127.0.0.1 serving any
// number of clients. It cuts each client's byte stream into 13-byte records
// (whatever the TCP segments), hands them to the SchedulerCore, and writes
// the answers back, in small chunks when the bench asks for it.

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include "scheduler_link/byte_queue.h"
#include "sim/bench.h"
#include "sim/clock.h"
#include "sim/scheduler_core.h"
#include "sim/waveform_recorder.h"

namespace zavik::I2cSim {

struct ServerOptions {
  std::uint16_t port = 3000;
  std::string host = "127.0.0.1";
  bool trace = false;
  std::string recordFile;  // empty: no record
  std::string displayDir;  // empty: no display pictures
  std::string vcdFile;     // empty: no waveforms
};

class SimServer : private Outbox {
 public:
  SimServer(const Bench& bench, const ServerOptions& options);
  ~SimServer() override;

  // Binds and listens; false (with a message in Error()) on failure.
  bool Listen();
  std::uint16_t Port() const { return port_; }
  const std::string& Error() const { return error_; }

  // Serves until stop becomes non-zero (set by a signal handler).
  void Serve(const volatile std::sig_atomic_t& stop);

 private:
  struct Connection;

  void Send(ClientId client, const I2cScheduler::SchedulerMessage& message) override;
  void Trace(const std::string& line) override;

  void Accept();
  void Service(ClientId id, short revents);
  void ReapEndedConnections();
  void ReadFrom(Connection& connection);
  void WriteTo(Connection& connection);
  void Drop(ClientId id);
  void Record(const std::string& line);

  ServerOptions options_;
  SteadyClock clock_;
  SchedulerCore core_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::string error_;
  std::FILE* record_ = nullptr;
  std::unique_ptr<WaveformRecorder> waveforms_;
  ClientId nextId_ = 1;
  std::map<ClientId, std::unique_ptr<Connection>> connections_;
};

}  // namespace zavik::I2cSim
