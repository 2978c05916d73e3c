// i2c-scheduler-sim: plays the I2C scheduler for host programs and tests,
// with simulated boards and slave devices described by a bench file.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "sim/bench.h"
#include "sim/sim_server.h"

namespace {

volatile std::sig_atomic_t gStop = 0;

void OnSignal(int) { gStop = 1; }

const char kUsage[] =
    "Usage: i2c-scheduler-sim [--port N] [--bench FILE] [--trace] [--record FILE]\n"
    "                         [--display-dir DIR] [--vcd FILE] [--help] [--version]\n"
    "\n"
    "Plays the I2C scheduler on TCP 127.0.0.1: greets clients, lists and opens\n"
    "simulated boards and runs master transfers on their simulated buses,\n"
    "reporting every START, bit and STOP as a real scheduler does.\n"
    "\n"
    "  --port N       listen on port N (default 3000; 0 picks a free port)\n"
    "  --bench FILE   boards, devices and faults from a JSON bench file\n"
    "                 (without it: one type-2 board with an EEPROM at 0x50,\n"
    "                 a temperature sensor at 0x48, a register file at 0x20,\n"
    "                 a BME280 at 0x76 and a 128x64 SSD1306 display at 0x3C)\n"
    "  --trace        print each transfer as the bus saw it, for example\n"
    "                 client 1 board 1: S 50W A 10 A Sr 50R A 12 A 34 N P -> ok\n"
    "  --record FILE  append one line per connection event and received message:\n"
    "                 connect ID | disconnect ID | recv ID CODE HEX26\n"
    "  --display-dir DIR  write what each display shows to DIR/board<N>-0x3C.png\n"
    "                 after every change (with --trace also as text art)\n"
    "  --vcd FILE     write the boards' SCL and SDA lines as a Value Change Dump\n"
    "                 for logic-analyzer software (PulseView, GTKWave), flushed\n"
    "                 after each transfer\n"
    "  --help         show this text\n"
    "  --version      show the version of the simulator\n"
    "\n"
    "After listening it prints 'listening on 127.0.0.1:PORT'. SIGINT or SIGTERM\n"
    "end it with exit status 0. The bench format is described in sim/README.md.\n";

int UsageError(const std::string& what) {
  std::fprintf(stderr, "i2c-scheduler-sim: %s\n\n%s", what.c_str(), kUsage);
  return 2;
}

bool ParsePort(const char* text, std::uint16_t& port) {
  char* end = nullptr;
  errno = 0;
  const unsigned long value = std::strtoul(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || value > 65535 || text[0] == '-') return false;
  port = static_cast<std::uint16_t>(value);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace zavik::I2cSim;
  ServerOptions options;
  std::string benchFile;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    } else if (arg == "--version") {
      std::printf("i2c-scheduler-sim %s\n", I2CZAVIK_VERSION);
      return 0;
    } else if (arg == "--trace") {
      options.trace = true;
    } else if (arg == "--port") {
      if (!hasValue || !ParsePort(argv[++i], options.port)) return UsageError("--port needs a number 0..65535");
    } else if (arg == "--bench") {
      if (!hasValue) return UsageError("--bench needs a file name");
      benchFile = argv[++i];
    } else if (arg == "--record") {
      if (!hasValue) return UsageError("--record needs a file name");
      options.recordFile = argv[++i];
    } else if (arg == "--display-dir") {
      if (!hasValue) return UsageError("--display-dir needs a directory");
      options.displayDir = argv[++i];
      std::error_code error;
      std::filesystem::create_directories(options.displayDir, error);
      if (error) return UsageError("cannot create display directory '" + options.displayDir + "': " + error.message());
    } else if (arg == "--vcd") {
      if (!hasValue) return UsageError("--vcd needs a file name");
      options.vcdFile = argv[++i];
    } else {
      return UsageError("unknown argument '" + arg + "'");
    }
  }

  Bench bench;
  try {
    bench = benchFile.empty() ? DefaultBench() : LoadBench(benchFile);
  } catch (const BenchError& error) {
    std::fprintf(stderr, "i2c-scheduler-sim: %s\n", error.what());
    return 2;
  }

  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);

  SimServer server(bench, options);
  if (!server.Listen()) {
    std::fprintf(stderr, "i2c-scheduler-sim: %s\n", server.Error().c_str());
    return 1;
  }
  std::printf("listening on 127.0.0.1:%u\n", static_cast<unsigned>(server.Port()));
  std::fflush(stdout);
  server.Serve(gStop);
  return 0;
}
