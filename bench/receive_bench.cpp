// Receive path throughput: 13-byte records per second cut from a loopback
// stream by the channel (ServiceRead + ReceiveMessages), against a plain
// reader that does one recv into a flat buffer and cuts records in place.
// The ratio shows what the channel's queues cost on top of the socket.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "scheduler_link/ipc_base.h"
#include "scheduler_link/socket_platform.h"

namespace {

using zavik::I2cScheduler::kMessageSize;

constexpr std::size_t kRecordsPerSend = 65536;
constexpr std::size_t kReadSize = 50000;  // the channel's read size, for a fair reference

// Streams records with rising codes to the one client that connects, until
// the client goes away.
class RecordStreamer {
 public:
  RecordStreamer() {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(listener_, 1);
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { Run(); });
  }
  ~RecordStreamer() {
    stop_ = true;
    thread_.join();
    ::close(listener_);
  }
  std::uint16_t Port() const { return port_; }

 private:
  void Run() {
    pollfd p{listener_, POLLIN, 0};
    if (::poll(&p, 1, 10000) != 1) return;
    const int connection = ::accept(listener_, nullptr, nullptr);
    std::vector<std::uint8_t> records(kRecordsPerSend * kMessageSize);
    std::uint32_t code = 0;
    while (!stop_) {
      for (std::size_t i = 0; i < kRecordsPerSend; ++i, ++code) std::memcpy(&records[i * kMessageSize], &code, 4);
      std::size_t sent = 0;
      while (sent < records.size() && !stop_) {
        const ssize_t n = ::send(connection, records.data() + sent, records.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
          stop_ = true;
          break;
        }
        sent += static_cast<std::size_t>(n);
      }
    }
    ::close(connection);
  }

  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

void ChannelReceive(benchmark::State& state) {
  RecordStreamer streamer;
  auto channel = zavik::I2cScheduler::CreateSocketChannel(streamer.Port(), "127.0.0.1");
  auto selector = zavik::I2cScheduler::CreateEndpointSelector();
  zavik::I2cScheduler::EndpointList endpoints{channel->GetEndpoint()};
  selector->SetReadEndpoints(&endpoints);
  zavik::I2cScheduler::MessageQueue messages;
  std::uint64_t records = 0, codeSum = 0;
  for (auto _ : state) {
    if (!channel->ServiceRead()) {
      state.SkipWithError("channel closed");
      break;
    }
    channel->ReceiveMessages(messages);
    if (messages.empty()) {
      selector->Wait(100000);
      continue;
    }
    for (const auto& m : messages) codeSum += m.Code();
    records += messages.size();
    messages.clear();
  }
  benchmark::DoNotOptimize(codeSum);
  state.SetItemsProcessed(static_cast<std::int64_t>(records));
  channel.reset();
}

void ReferenceReader(benchmark::State& state) {
  RecordStreamer streamer;
  const int s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(streamer.Port());
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(s, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    state.SkipWithError("connect failed");
    ::close(s);
    return;
  }
  std::vector<std::uint8_t> buffer(kReadSize + kMessageSize);
  std::size_t carried = 0;
  std::uint64_t records = 0, codeSum = 0;
  for (auto _ : state) {
    const ssize_t n = ::recv(s, buffer.data() + carried, kReadSize, 0);
    if (n <= 0) {
      state.SkipWithError("stream ended");
      break;
    }
    const std::size_t available = carried + static_cast<std::size_t>(n);
    const std::size_t whole = available / kMessageSize;
    for (std::size_t i = 0; i < whole; ++i) {
      std::uint32_t code;
      std::memcpy(&code, &buffer[i * kMessageSize], 4);
      codeSum += code;
    }
    records += whole;
    carried = available - whole * kMessageSize;
    std::memmove(buffer.data(), buffer.data() + whole * kMessageSize, carried);
  }
  benchmark::DoNotOptimize(codeSum);
  state.SetItemsProcessed(static_cast<std::int64_t>(records));
  ::close(s);
}

// The queues alone, without a socket: what the receive path costs per record
// once the bytes are in memory.
class MemoryChannel : public zavik::I2cScheduler::CIpcBase {
 public:
  MemoryChannel() { SetOpen(true); }
  using CIpcBase::AcceptReceived;
  bool ServiceRead() override { return true; }
  bool ServiceWrite() override { return true; }
};

void FramingOnly(benchmark::State& state) {
  std::vector<std::uint8_t> block(kReadSize);
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<std::uint8_t>(i * 7);
  MemoryChannel channel;
  zavik::I2cScheduler::MessageQueue messages;
  std::uint64_t records = 0, codeSum = 0;
  for (auto _ : state) {
    channel.AcceptReceived(block.data(), block.size());
    channel.ReceiveMessages(messages);
    for (const auto& m : messages) codeSum += m.Code();
    records += messages.size();
    messages.clear();
  }
  benchmark::DoNotOptimize(codeSum);
  state.SetItemsProcessed(static_cast<std::int64_t>(records));
}

BENCHMARK(FramingOnly);
BENCHMARK(ChannelReceive)->MinTime(2.0)->UseRealTime();
BENCHMARK(ReferenceReader)->MinTime(2.0)->UseRealTime();

// Console output plus the two rates, kept for the closing comparison.
class RateReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      // Single runs, or the median when repetitions are asked for.
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      const auto it = run.counters.find("items_per_second");
      if (it != run.counters.end()) rates[run.run_name.function_name] = it->second.value;
    }
  }
  std::map<std::string, double> rates;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RateReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  double channel = 0, reference = 0;
  for (const auto& [name, rate] : reporter.rates) {
    if (name == "ChannelReceive") channel = rate;
    if (name == "ReferenceReader") reference = rate;
  }
  if (channel > 0 && reference > 0) {
    std::printf("\nchannel   %.1f M records/s\nreference %.1f M records/s\nreference/channel %.2f\n", channel / 1e6,
                reference / 1e6, reference / channel);
  }
  return 0;
}
