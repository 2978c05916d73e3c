// Register reads against the simulator, compared with a raw loopback
// round trip that moves the same records (the request out, the bus reports
// back), plus a 64 KiB EEPROM read in 256-byte reads and the library's own
// CPU time per bus-report record. Prints the read/round-trip ratio at the end.
//
// Compare like with like: run unpinned, or pin everything (the simulator is a
// child and inherits the placement) with `taskset -c 0 register_read_bench`.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/board_client.h"
#include "api/master_message.h"
#include "api/master_module.h"
#include "api/master_tracker.h"

namespace {

using zavik::I2cApi::CBoardClient;
using zavik::I2cApi::MasterTracker;
using zavik::I2cApi::TransferStatus;
using zavik::I2cApi::Cpp::CI2cAddress;
using zavik::I2cApi::Cpp::CMasterMessageRx;
using zavik::I2cApi::Cpp::CMasterMessageTx;
using zavik::I2cScheduler::MessageQueue;
using zavik::I2cScheduler::SchedulerMessage;

constexpr std::size_t kRecord = zavik::I2cScheduler::kMessageSize;
constexpr std::uint8_t kEeprom = 0x50;

// ---------------------------------------------------------------------------
// The simulator as a child process on an ephemeral port.

class Simulator {
 public:
  Simulator() {
    int out[2];
    if (::pipe(out) != 0) throw std::runtime_error("pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(out[1], 1);
      ::close(out[0]);
      ::execl(I2CZAVIK_SIM_PATH, I2CZAVIK_SIM_PATH, "--port", "0", static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(out[1]);
    std::string line;
    char c;
    while (::read(out[0], &c, 1) == 1 && c != '\n') line += c;
    ::close(out[0]);
    const std::size_t colon = line.rfind(':');
    if (line.rfind("listening on ", 0) != 0 || colon == std::string::npos) throw std::runtime_error("simulator: " + line);
    port_ = static_cast<std::uint16_t>(std::stoi(line.substr(colon + 1)));
  }
  ~Simulator() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  std::uint16_t Port() const { return port_; }

 private:
  pid_t pid_ = -1;
  std::uint16_t port_ = 0;
};

struct Session {
  Simulator simulator;
  std::unique_ptr<CBoardClient> client;
  Session() : client(std::make_unique<CBoardClient>(simulator.Port())) {
    std::vector<zavik::I2cApi::BoardInfo> boards;
    client->EnumerateBoards(boards);
    client->OpenBoard(boards.at(0));
  }
  ~Session() { client.reset(); }
};

Session& SharedSession() {
  static Session session;
  return session;
}

double ThreadCpuSeconds() {
  timespec t{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Records of a register read of `count` bytes with a 2-byte register address:
// the request (19, 16, 18, 17) and the bus reports that answer it.
constexpr std::size_t kRequestRecords = 4;
std::size_t ReplyRecords(std::size_t count) {
  const std::size_t byteBits = 9;
  // 13 {30}; 22, START, address, two register bytes; 22, START, address, data; STOP
  return 1 + 2 + 3 * byteBits + 2 + (1 + count) * byteBits + 1;
}

// ---------------------------------------------------------------------------

void BM_RegisterRead2Bytes(benchmark::State& state) {
  CBoardClient& client = *SharedSession().client;
  CMasterMessageTx registerAddress(CI2cAddress(kEeprom, false), {0x01, 0x20});
  CMasterMessageRx read;
  read.SetAddress(CI2cAddress(kEeprom, false));
  read.SetRequestedCount(2);
  const zavik::I2cApi::Cpp::MasterMessageList list{&registerAddress, &read};
  const double cpuStart = ThreadCpuSeconds();
  for (auto _ : state) {
    client.GetMasterModule()->Transfer(list);
    benchmark::DoNotOptimize(read.GetData().data());
  }
  const double cpu = ThreadCpuSeconds() - cpuStart;
  const double records = static_cast<double>(state.iterations()) * (kRequestRecords + ReplyRecords(2));
  state.counters["reads/s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["cpu_ns/record"] = cpu * 1e9 / records;
}

void BM_Eeprom64KiBIn256ByteReads(benchmark::State& state) {
  CBoardClient& client = *SharedSession().client;
  CMasterMessageTx registerAddress;
  CMasterMessageRx read;
  read.SetAddress(CI2cAddress(kEeprom, false));
  read.SetRequestedCount(256);
  registerAddress.SetAddress(CI2cAddress(kEeprom, false));
  for (auto _ : state) {
    for (std::uint32_t offset = 0; offset < 65536; offset += 256) {
      registerAddress.GetData() = {static_cast<std::uint8_t>(offset >> 8), static_cast<std::uint8_t>(offset)};
      client.GetMasterModule()->Transfer({&registerAddress, &read});
    }
    benchmark::DoNotOptimize(read.GetData().data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 65536);
}

// ---------------------------------------------------------------------------
// The raw baseline: a plain client and a server thread that answers each
// request of kRequestRecords records with ReplyRecords(2) records.

int Connect(std::uint16_t port) {
  const int s = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(port);
  if (::connect(s, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) throw std::runtime_error("connect");
  int one = 1;
  ::setsockopt(s, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  return s;
}

bool ReadExactly(int s, std::uint8_t* p, std::size_t n) {
  while (n > 0) {
    const ssize_t got = ::recv(s, p, n, 0);
    if (got <= 0) return false;
    p += got;
    n -= static_cast<std::size_t>(got);
  }
  return true;
}

bool WriteAll(int s, const std::uint8_t* p, std::size_t n) {
  while (n > 0) {
    const ssize_t sent = ::send(s, p, n, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    p += sent;
    n -= static_cast<std::size_t>(sent);
  }
  return true;
}

// The server is a child process, as the simulator is, so that both sides of
// the comparison pay the same process switches.
void ServeRaw(int listener) {
  const int s = ::accept(listener, nullptr, nullptr);
  int one = 1;
  ::setsockopt(s, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  std::vector<std::uint8_t> request(kRequestRecords * kRecord);
  std::vector<std::uint8_t> reply(ReplyRecords(2) * kRecord, 7);
  while (ReadExactly(s, request.data(), request.size()) && WriteAll(s, reply.data(), reply.size())) {
  }
  ::close(s);
}

void BM_RawRoundTripSameVolume(benchmark::State& state) {
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof a;
  ::bind(listener, reinterpret_cast<sockaddr*>(&a), sizeof a);
  ::listen(listener, 1);
  ::getsockname(listener, reinterpret_cast<sockaddr*>(&a), &length);
  const pid_t server = ::fork();
  if (server == 0) {
    ServeRaw(listener);
    ::_exit(0);
  }
  const int client = Connect(ntohs(a.sin_port));
  std::vector<std::uint8_t> request(kRequestRecords * kRecord, 1);
  std::vector<std::uint8_t> reply(ReplyRecords(2) * kRecord);
  for (auto _ : state) {
    if (!WriteAll(client, request.data(), request.size()) || !ReadExactly(client, reply.data(), reply.size())) {
      state.SkipWithError("raw peer failed");
      break;
    }
  }
  ::shutdown(client, SHUT_RDWR);
  ::close(client);
  ::waitpid(server, nullptr, 0);
  ::close(listener);
}

// ---------------------------------------------------------------------------
// Decoding and tracking alone: a register read's bus reports applied to its
// tracking entries, per record.

void PutByte(MessageQueue& q, std::uint8_t value, bool acknowledged) {
  for (int bit = 7; bit >= 0; --bit) {
    SchedulerMessage m = SchedulerMessage::WithCode(7);
    m.SetByte(4, static_cast<std::uint8_t>((value >> bit) & 1));
    q.push_back(m);
  }
  SchedulerMessage ack = SchedulerMessage::WithCode(7);
  ack.SetByte(4, acknowledged ? 0 : 1);
  q.push_back(ack);
}

void BM_DecodeAndTrackPerRecord(benchmark::State& state) {
  MessageQueue batch;
  SchedulerMessage accepted = SchedulerMessage::WithCode(13);
  accepted.SetU32At(4, 30);
  batch.push_back(accepted);
  batch.push_back(SchedulerMessage::WithCode(22));
  batch.push_back(SchedulerMessage::WithCode(5));
  PutByte(batch, 0xA0, true);
  PutByte(batch, 0x01, true);
  PutByte(batch, 0x20, true);
  batch.push_back(SchedulerMessage::WithCode(22));
  batch.push_back(SchedulerMessage::WithCode(5));
  PutByte(batch, 0xA1, true);
  PutByte(batch, 0x12, true);
  PutByte(batch, 0x34, false);
  batch.push_back(SchedulerMessage::WithCode(6));

  std::vector<std::uint8_t> received;
  received.reserve(2);
  MasterTracker tracker;
  for (auto _ : state) {
    TransferStatus config;
    config.kind = zavik::I2cApi::kKindConfiguration;
    TransferStatus write;
    write.kind = zavik::I2cApi::kKindWrite;
    write.expected = 3;
    TransferStatus read;
    read.kind = zavik::I2cApi::kKindRead;
    read.isLast = true;
    read.expected = zavik::I2cApi::kExpectedAtStop;
    read.readData = &received;
    received.clear();
    tracker.Statuses().assign({config, write, read});
    tracker.Start();
    tracker.HandleMessages(batch);
    if (tracker.IsRunning() || received.size() != 2) state.SkipWithError("tracking did not finish");
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * batch.size()));
}

BENCHMARK(BM_RegisterRead2Bytes)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_RawRoundTripSameVolume)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_Eeprom64KiBIn256ByteReads)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_DecodeAndTrackPerRecord);

// Keeps the real time per iteration of each benchmark for the ratio.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        seconds_[run.run_name.function_name] = run.real_accumulated_time / static_cast<double>(run.iterations);
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void PrintRatio() const {
    const auto read = seconds_.find("BM_RegisterRead2Bytes");
    const auto raw = seconds_.find("BM_RawRoundTripSameVolume");
    if (read == seconds_.end() || raw == seconds_.end() || raw->second <= 0) return;
    std::printf("\n2-byte register read: %.1f us; raw round trip of the same %zu+%zu records: %.1f us; ratio %.2f (target <= 2)\n",
                read->second * 1e6, kRequestRecords, ReplyRecords(2), raw->second * 1e6, read->second / raw->second);
  }

 private:
  std::map<std::string, double> seconds_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio();
  benchmark::Shutdown();
  return 0;
}
