// What --vcd costs: 100 000 two-byte register reads from the simulator's
// EEPROM, through the library, once with the simulator writing its VCD
// waveforms and once without. Prints both times, their ratio (target at
// most 2), the simulator's resident memory every 10 000 reads (it must not
// grow with the file) and the file's size. Not part of CI: run it by hand,
// from a Release build, as `vcd_overhead_bench [READS] [VCD-FILE]`.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/board_client.h"
#include "api/master_message.h"
#include "api/master_module.h"

namespace {

using zavik::I2cApi::CBoardClient;
using zavik::I2cApi::Cpp::CI2cAddress;
using zavik::I2cApi::Cpp::CMasterMessageRx;
using zavik::I2cApi::Cpp::CMasterMessageTx;

// The simulator as a child process on an ephemeral port.
class Simulator {
 public:
  explicit Simulator(const std::string& vcd) {
    int out[2];
    if (::pipe(out) != 0) throw std::runtime_error("pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(out[1], 1);
      ::close(out[0]);
      if (vcd.empty()) {
        ::execl(I2CZAVIK_SIM_PATH, I2CZAVIK_SIM_PATH, "--port", "0", static_cast<char*>(nullptr));
      } else {
        ::execl(I2CZAVIK_SIM_PATH, I2CZAVIK_SIM_PATH, "--port", "0", "--vcd", vcd.c_str(), static_cast<char*>(nullptr));
      }
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

  long ResidentKiB() const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    std::string key;
    long value = -1;
    while (status >> key) {
      if (key == "VmRSS:") status >> value;
    }
    return value;
  }

 private:
  pid_t pid_ = -1;
  std::uint16_t port_ = 0;
};

struct Run {
  double seconds = 0;
  std::vector<long> residentKiB;  // after every tenth of the reads
};

Run ReadRegisters(const std::string& vcd, int reads) {
  Simulator simulator(vcd);
  CBoardClient client(simulator.Port());
  std::vector<zavik::I2cApi::BoardInfo> boards;
  client.EnumerateBoards(boards);
  client.OpenBoard(boards.at(0));
  CMasterMessageTx registerAddress(CI2cAddress(0x50, false), {0x01, 0x20});
  CMasterMessageRx read;
  read.SetAddress(CI2cAddress(0x50, false));
  read.SetRequestedCount(2);
  Run run;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 1; i <= reads; ++i) {
    client.GetMasterModule()->Transfer({&registerAddress, &read});
    if (i % (reads / 10) == 0) run.residentKiB.push_back(simulator.ResidentKiB());
  }
  run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return run;
}

void Print(const char* what, const Run& run, int reads) {
  std::printf("%-12s %7.2f s  %6.1f us/read  simulator RSS KiB:", what, run.seconds, run.seconds * 1e6 / reads);
  for (long kib : run.residentKiB) std::printf(" %ld", kib);
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  const int reads = argc > 1 ? std::stoi(argv[1]) : 100000;
  const std::string vcd = argc > 2 ? argv[2] : "/tmp/vcd_overhead_bench.vcd";
  // Both runs twice, interleaved, so that a busy machine hurts both alike.
  Run plain = ReadRegisters("", reads);
  Run waveforms = ReadRegisters(vcd, reads);
  const Run plain2 = ReadRegisters("", reads);
  const Run waveforms2 = ReadRegisters(vcd, reads);
  if (plain2.seconds < plain.seconds) plain = plain2;
  if (waveforms2.seconds < waveforms.seconds) waveforms = waveforms2;
  Print("without VCD", plain, reads);
  Print("with --vcd", waveforms, reads);
  std::ifstream file(vcd, std::ios::binary | std::ios::ate);
  std::printf("VCD file %s: %.1f MB\n", vcd.c_str(), static_cast<double>(file.tellg()) / 1e6);
  std::printf("ratio %.2f (target <= 2)\n", waveforms.seconds / plain.seconds);
  return 0;
}
