#pragma once
// A bench: the scheduler's own settings and the boards it serves, each with
// the devices on its bus and the faults it should show. Loaded from a JSON
// file (see README.md) or built in.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/board_info.h"
#include "api/version.h"
#include "sim/bme280.h"
#include "sim/eeprom.h"
#include "sim/register_file.h"
#include "sim/ssd1306.h"

namespace zavik::I2cSim {

// Misbehaviour of one device, applied by the bus engine to every message
// addressed to it. -1 (or false) switches a fault off.
struct DeviceFaults {
  int nackAfter = -1;          // data bytes acknowledged in a write before the slave NACKs
  int shortRead = -1;          // bytes a read delivers before the scheduler ends it
  bool arbitrationLost = false;
  bool busTimeout = false;
  bool protocolError = false;
  int vccDrop = -1;            // I2C Vcc in millivolts reported as the message begins
  // Reports that claim more than happened, as a misbehaving scheduler might:
  int extraReadBytes = -1;     // bytes a read clocks beyond the requested count before its NACK
  int extraAcks = -1;          // bytes reported acknowledged after a write's last data byte
};

enum class DeviceKind { kEeprom, kRegisterFile, kTemperatureSensor, kBme280, kSsd1306 };

struct BenchDevice {
  DeviceKind kind = DeviceKind::kRegisterFile;
  std::uint16_t address = 0;
  bool tenBit = false;
  EepromConfig eeprom;
  RegisterFileConfig registers;
  double temperature = 25.0;
  Bme280Config bme280;
  Ssd1306Config ssd1306;
  DeviceFaults faults;
};

struct BoardFaults {
  bool openRefused = false;
  int stopsRespondingAfter = -1;  // transfers run before the board stops responding
  int configurationStatus = -1;   // status that answers an accepted configuration instead of 30
  int reportDelayMs = -1;         // a transfer's bus reports leave this much after its configuration answer
};

struct BenchBoard {
  I2cApi::BoardInfo info;
  std::uint16_t i2cVcc = 3300;
  BoardFaults faults;
  std::vector<BenchDevice> devices;
};

struct SchedulerSettings {
  I2cApi::Version version{1, 6, 0};
  std::uint32_t maxClients = 0;          // 0: no limit; beyond it clients are told busy
  std::uint32_t closeAfterMessages = 0;  // 0: never; else the connection ends after that many
  std::uint32_t outputChunkBytes = 0;    // 0: write freely; else at most this many bytes per write
  bool parallelPortRefused = false;
};

struct Bench {
  SchedulerSettings scheduler;
  std::vector<BenchBoard> boards;
};

class BenchError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One type-2 board with an EEPROM at 0x50, a temperature sensor at 0x48, a
// register file at 0x20, a BME280 at 0x76 and a 128x64 SSD1306 at 0x3C.
Bench DefaultBench();

// Throws BenchError naming the file, the field and the problem.
Bench LoadBench(const std::string& path);
// baseDir resolves relative file names inside the bench (register contents).
Bench ParseBench(const std::string& text, const std::string& fileName, const std::string& baseDir);

}  // namespace zavik::I2cSim
