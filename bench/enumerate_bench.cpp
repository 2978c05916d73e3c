// Board enumeration against the scheduler simulator: a list of 64 boards
// (64 entries of 29 627 bytes, about 1.9 MB of stream in some 210 000 records)
// requested, reassembled and decoded by CBoardClient::EnumerateBoards. A
// second benchmark decodes the same stream from memory, to show how much of
// the time is the decoder rather than the transport.
//
// The simulator is started here on an ephemeral port with a generated bench
// file; its path comes from I2CZAVIK_SIM in the environment or, failing that,
// from the build (I2CZAVIK_SIM_PROGRAM).

#include <benchmark/benchmark.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "api/board_client.h"
#include "api/board_list_decoder.h"

extern char** environ;

namespace {

using zavik::I2cApi::BoardInfo;
using zavik::I2cApi::CBoardClient;

constexpr int kBoards = 64;

std::string SimulatorPath() {
  if (const char* path = std::getenv("I2CZAVIK_SIM")) return path;
#ifdef I2CZAVIK_SIM_PROGRAM
  return I2CZAVIK_SIM_PROGRAM;
#else
  return "";
#endif
}

std::string WriteBenchFile() {
  char path[] = "/tmp/enumerate_bench_XXXXXX";
  const int fd = ::mkstemp(path);
  if (fd < 0) return "";
  ::close(fd);
  std::ofstream out(path);
  out << "{\"boards\": [\n";
  for (int i = 0; i < kBoards; ++i) {
    out << (i ? ",\n" : "") << "{\"name\": \"Board " << i << "\", \"number\": " << i + 1 << ", \"type\": 2, "
        << "\"bitrates\": [100000, 400000], \"i2cVcc\": 3300}";
  }
  out << "\n]}\n";
  return path;
}

// The simulator, started on an ephemeral port and stopped at the end.
class Simulator {
 public:
  bool Start(const std::string& program, const std::string& benchFile) {
    int out[2];
    if (::pipe(out) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::vector<std::string> args = {program, "--port", "0", "--bench", benchFile};
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    const int rc = ::posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    if (rc != 0) {
      ::close(out[0]);
      return false;
    }
    // "listening on 127.0.0.1:<port>"
    std::string line;
    char c;
    while (::read(out[0], &c, 1) == 1 && c != '\n') line.push_back(c);
    ::close(out[0]);
    const std::size_t colon = line.rfind(':');
    if (line.rfind("listening on", 0) != 0 || colon == std::string::npos) return false;
    port_ = static_cast<std::uint16_t>(std::atoi(line.c_str() + colon + 1));
    return port_ != 0;
  }

  ~Simulator() {
    if (pid_ > 0) {
      ::kill(pid_, SIGTERM);
      ::waitpid(pid_, nullptr, 0);
    }
  }

  std::uint16_t Port() const { return port_; }

 private:
  pid_t pid_ = -1;
  std::uint16_t port_ = 0;
};

void EnumerateAgainstSimulator(benchmark::State& state, std::uint16_t port) {
  CBoardClient client(port);
  std::vector<BoardInfo> boards;
  for (auto _ : state) {
    client.EnumerateBoards(boards);
    if (boards.size() != static_cast<std::size_t>(kBoards)) {
      state.SkipWithError("unexpected number of boards");
      break;
    }
    benchmark::DoNotOptimize(boards.data());
  }
  const double records = kBoards * zavik::I2cApi::kBoardEntrySize / 9.0 + 2;
  state.counters["records/s"] = benchmark::Counter(records * state.iterations(), benchmark::Counter::kIsRate);
  state.counters["MB/s"] = benchmark::Counter(kBoards * zavik::I2cApi::kBoardEntrySize / 1e6 * state.iterations(),
                                              benchmark::Counter::kIsRate);
}

// The decoder alone, on the same amount of stream already in memory.
void DecodeFromMemory(benchmark::State& state) {
  std::vector<std::uint8_t> entry(zavik::I2cApi::kBoardEntrySize, 0);
  constexpr std::size_t kBitratesOffset = 1493;  // big-endian u32 list
  for (std::size_t i = 0; i < 8; ++i) entry[kBitratesOffset + 3 + 4 * i] = static_cast<std::uint8_t>(i + 1);
  std::deque<std::uint8_t> stream;
  for (auto _ : state) {
    state.PauseTiming();
    for (int i = 0; i < kBoards; ++i) stream.insert(stream.end(), entry.begin(), entry.end());
    state.ResumeTiming();
    std::vector<BoardInfo> boards;
    while (zavik::I2cApi::HoldsBoardEntry(stream, zavik::I2cApi::kBoardEntrySize)) {
      boards.push_back(zavik::I2cApi::TakeBoardEntry(stream));
    }
    benchmark::DoNotOptimize(boards.data());
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const std::string program = SimulatorPath();
  const std::string benchFile = WriteBenchFile();
  Simulator simulator;
  if (program.empty() || benchFile.empty() || !simulator.Start(program, benchFile)) {
    std::fprintf(stderr, "enumerate_bench: cannot start the simulator (set I2CZAVIK_SIM)\n");
    if (!benchFile.empty()) std::remove(benchFile.c_str());
    return 1;
  }
  const std::uint16_t port = simulator.Port();
  benchmark::RegisterBenchmark("EnumerateBoards/64boards/simulator",
                               [port](benchmark::State& state) { EnumerateAgainstSimulator(state, port); })
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();  // the work is split between this process and the simulator
  benchmark::RegisterBenchmark("DecodeBoardList/64boards/memory", DecodeFromMemory)->Unit(benchmark::kMillisecond);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::remove(benchFile.c_str());
  return 0;
}
