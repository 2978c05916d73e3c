#include "sim/bench.h"

#include <fstream>
#include <iterator>
#include <sstream>

#include <nlohmann/json.hpp>

namespace zavik::I2cSim {

namespace {

using nlohmann::json;
using I2cApi::BoardInfo;
using I2cApi::Version;

const char* const kComponents[] = {"firmware", "FPGA configuration", "driver"};

// The BME280's trimming parameters by their datasheet names, with the range
// of each one's register field.
struct TrimmingField {
  const char* name;
  std::int64_t min;
  std::int64_t max;
  void (*set)(Bme280Calibration&, std::int64_t);
};
#define I2CSIM_TRIM(NAME, MIN, MAX)                                                               \
  TrimmingField {                                                                                 \
    "dig_" #NAME, MIN, MAX, [](Bme280Calibration& c, std::int64_t v) { c.NAME = static_cast<decltype(c.NAME)>(v); } \
  }
const TrimmingField kTrimmingFields[] = {
    I2CSIM_TRIM(T1, 0, 65535),      I2CSIM_TRIM(T2, -32768, 32767), I2CSIM_TRIM(T3, -32768, 32767),
    I2CSIM_TRIM(P1, 0, 65535),      I2CSIM_TRIM(P2, -32768, 32767), I2CSIM_TRIM(P3, -32768, 32767),
    I2CSIM_TRIM(P4, -32768, 32767), I2CSIM_TRIM(P5, -32768, 32767), I2CSIM_TRIM(P6, -32768, 32767),
    I2CSIM_TRIM(P7, -32768, 32767), I2CSIM_TRIM(P8, -32768, 32767), I2CSIM_TRIM(P9, -32768, 32767),
    I2CSIM_TRIM(H1, 0, 255),        I2CSIM_TRIM(H2, -32768, 32767), I2CSIM_TRIM(H3, 0, 255),
    I2CSIM_TRIM(H4, -2048, 2047),   I2CSIM_TRIM(H5, -2048, 2047),   I2CSIM_TRIM(H6, -128, 127),
};
#undef I2CSIM_TRIM

// Reads one JSON document into a Bench, keeping the path of the field being
// read so that every complaint names it.
class BenchReader {
 public:
  BenchReader(std::string fileName, std::string baseDir)
      : fileName_(std::move(fileName)), baseDir_(std::move(baseDir)) {}

  Bench Read(const json& root) {
    Bench bench;
    Expect(root.is_object(), "", "expected an object with \"boards\"");
    CheckKeys(root, "", {"scheduler", "boards"});
    if (root.contains("scheduler")) bench.scheduler = ReadScheduler(root["scheduler"]);
    Expect(root.contains("boards"), "boards", "missing");
    const json& boards = root["boards"];
    Expect(boards.is_array(), "boards", "expected an array");
    for (std::size_t i = 0; i < boards.size(); ++i) {
      bench.boards.push_back(ReadBoard(boards[i], "boards[" + std::to_string(i) + "]"));
    }
    return bench;
  }

 private:
  [[noreturn]] void Fail(const std::string& field, const std::string& what) const {
    std::string text = "bench file '" + fileName_ + "': ";
    if (!field.empty()) text += field + ": ";
    throw BenchError(text + what);
  }
  void Expect(bool condition, const std::string& field, const std::string& what) const {
    if (!condition) Fail(field, what);
  }

  void CheckKeys(const json& object, const std::string& path, std::initializer_list<const char*> known) const {
    for (auto it = object.begin(); it != object.end(); ++it) {
      bool found = false;
      for (const char* key : known) found = found || it.key() == key;
      if (!found) Fail(Join(path, it.key()), "unknown field");
    }
  }

  static std::string Join(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
  }

  // Integers may be written as numbers or as strings such as "0x50".
  std::uint64_t Unsigned(const json& value, const std::string& field, std::uint64_t max) const {
    std::uint64_t result = 0;
    if (value.is_number_unsigned()) {
      result = value.get<std::uint64_t>();
    } else if (value.is_string()) {
      const std::string text = value.get<std::string>();
      std::size_t used = 0;
      try {
        result = std::stoull(text, &used, 0);
      } catch (const std::exception&) {
        used = 0;
      }
      Expect(used != 0 && used == text.size() && text[0] != '-', field,
             "expected an unsigned integer, got \"" + text + "\"");
    } else {
      Fail(field, "expected an unsigned integer");
    }
    Expect(result <= max, field, "value " + std::to_string(result) + " is above " + std::to_string(max));
    return result;
  }

  std::int64_t Integer(const json& value, const std::string& field, std::int64_t min, std::int64_t max) const {
    std::int64_t result = 0;
    if (value.is_number_integer()) {
      result = value.get<std::int64_t>();
    } else if (value.is_string()) {
      const std::string text = value.get<std::string>();
      std::size_t used = 0;
      try {
        result = std::stoll(text, &used, 0);
      } catch (const std::exception&) {
        used = 0;
      }
      Expect(used != 0 && used == text.size(), field, "expected an integer, got \"" + text + "\"");
    } else {
      Fail(field, "expected an integer");
    }
    Expect(result >= min && result <= max, field,
           "value " + std::to_string(result) + " is outside " + std::to_string(min) + ".." + std::to_string(max));
    return result;
  }

  double Number(const json& object, const std::string& path, const char* key, double fallback, double min,
                double max, const std::string& unit) const {
    if (!object.contains(key)) return fallback;
    Expect(object[key].is_number(), Join(path, key), "expected a number of " + unit);
    const double value = object[key].get<double>();
    std::ostringstream range;
    range << "outside " << min << ".." << max << " " << unit;
    Expect(value >= min && value <= max, Join(path, key), range.str());
    return value;
  }

  std::uint64_t UnsignedField(const json& object, const std::string& path, const char* key,
                              std::uint64_t fallback, std::uint64_t max) const {
    if (!object.contains(key)) return fallback;
    return Unsigned(object[key], Join(path, key), max);
  }

  int OptionalCount(const json& object, const std::string& path, const char* key) const {
    if (!object.contains(key)) return -1;
    return static_cast<int>(Unsigned(object[key], Join(path, key), 1u << 30));
  }

  bool Bool(const json& object, const std::string& path, const char* key, bool fallback) const {
    if (!object.contains(key)) return fallback;
    Expect(object[key].is_boolean(), Join(path, key), "expected true or false");
    return object[key].get<bool>();
  }

  std::string String(const json& object, const std::string& path, const char* key) const {
    Expect(object[key].is_string(), Join(path, key), "expected a string");
    return object[key].get<std::string>();
  }

  Version ReadVersion(const json& value, const std::string& field) const {
    Expect(value.is_string(), field, "expected a version \"major.minor.build\"");
    const std::string text = value.get<std::string>();
    unsigned parts[3];
    char tail = 0;
    Expect(std::sscanf(text.c_str(), "%u.%u.%u%c", &parts[0], &parts[1], &parts[2], &tail) == 3 &&
               parts[0] < 256 && parts[1] < 256 && parts[2] < 256,
           field, "expected a version \"major.minor.build\" with parts 0..255, got \"" + text + "\"");
    return Version{static_cast<std::uint8_t>(parts[0]), static_cast<std::uint8_t>(parts[1]),
                   static_cast<std::uint8_t>(parts[2])};
  }

  std::map<std::string, Version> ReadVersions(const json& value, const std::string& path) const {
    Expect(value.is_object(), path, "expected an object of component versions");
    std::map<std::string, Version> versions;
    for (auto it = value.begin(); it != value.end(); ++it) {
      bool known = false;
      for (const char* component : kComponents) known = known || it.key() == component;
      Expect(known, Join(path, it.key()),
             "unknown component (use \"firmware\", \"FPGA configuration\" or \"driver\")");
      const Version version = ReadVersion(it.value(), Join(path, it.key()));
      // An all-zero version cannot travel in the board entry: it means "absent".
      if (version.major != 0 || version.minor != 0 || version.build != 0) versions[it.key()] = version;
    }
    return versions;
  }

  std::vector<std::uint32_t> ReadRates(const json& object, const std::string& path, const char* key,
                                       std::size_t maxCount) const {
    const std::string field = Join(path, key);
    Expect(object.contains(key), field, "missing");
    const json& list = object[key];
    Expect(list.is_array(), field, "expected an array of bitrates in Hz");
    Expect(list.size() <= maxCount, field, "more than " + std::to_string(maxCount) + " entries");
    std::vector<std::uint32_t> rates;
    for (std::size_t i = 0; i < list.size(); ++i) {
      const std::string item = field + "[" + std::to_string(i) + "]";
      const auto rate = static_cast<std::uint32_t>(Unsigned(list[i], item, 0xFFFFFFFFu));
      // 0 ends the list in the board entry, so it cannot be a member.
      Expect(rate != 0, item, "a bitrate cannot be 0");
      rates.push_back(rate);
    }
    return rates;
  }

  SchedulerSettings ReadScheduler(const json& value) const {
    const std::string path = "scheduler";
    Expect(value.is_object(), path, "expected an object");
    CheckKeys(value, path, {"version", "maxClients", "closeAfterMessages", "outputChunkBytes", "parallelPortRefused"});
    SchedulerSettings setup;
    if (value.contains("version")) setup.version = ReadVersion(value["version"], Join(path, "version"));
    setup.maxClients = static_cast<std::uint32_t>(UnsignedField(value, path, "maxClients", 0, 1u << 20));
    setup.closeAfterMessages =
        static_cast<std::uint32_t>(UnsignedField(value, path, "closeAfterMessages", 0, 0xFFFFFFFFu));
    setup.outputChunkBytes = static_cast<std::uint32_t>(UnsignedField(value, path, "outputChunkBytes", 0, 65536));
    setup.parallelPortRefused = Bool(value, path, "parallelPortRefused", false);
    return setup;
  }

  BenchBoard ReadBoard(const json& value, const std::string& path) const {
    Expect(value.is_object(), path, "expected an object");
    CheckKeys(value, path,
              {"name", "number", "type", "installed", "required", "masterWrite", "masterRead", "bitrates",
               "highSpeedBitrates", "maxReadLength", "i2cVcc", "faults", "devices"});
    BenchBoard board;
    BoardInfo& info = board.info;
    Expect(value.contains("name"), Join(path, "name"), "missing");
    info.name = String(value, path, "name");
    Expect(info.name.size() <= 20, Join(path, "name"), "longer than 20 characters");
    Expect(info.name.find('\0') == std::string::npos, Join(path, "name"), "contains a zero byte");
    Expect(value.contains("number"), Join(path, "number"), "missing");
    info.boardNumber = static_cast<std::uint16_t>(Unsigned(value["number"], Join(path, "number"), 0xFFFF));
    Expect(value.contains("type"), Join(path, "type"), "missing");
    info.boardType = static_cast<std::uint32_t>(Unsigned(value["type"], Join(path, "type"), 255));
    if (value.contains("installed")) info.installedVersions = ReadVersions(value["installed"], Join(path, "installed"));
    if (value.contains("required")) info.requiredVersions = ReadVersions(value["required"], Join(path, "required"));
    info.capabilityFlags[8] = Bool(value, path, "masterWrite", true) ? 1 : 0;
    info.capabilityFlags[9] = Bool(value, path, "masterRead", true) ? 1 : 0;
    info.bitrates = ReadRates(value, path, "bitrates", 7000);
    if (value.contains("highSpeedBitrates")) info.highSpeedBitrates = ReadRates(value, path, "highSpeedBitrates", 32);
    info.maxReadLength = static_cast<std::uint32_t>(UnsignedField(value, path, "maxReadLength", 4096, 1u << 24));
    board.i2cVcc = static_cast<std::uint16_t>(UnsignedField(value, path, "i2cVcc", 3300, 0xFFFF));
    if (value.contains("faults")) board.faults = ReadBoardFaults(value["faults"], Join(path, "faults"));
    if (value.contains("devices")) {
      const json& devices = value["devices"];
      Expect(devices.is_array(), Join(path, "devices"), "expected an array");
      for (std::size_t i = 0; i < devices.size(); ++i) {
        board.devices.push_back(ReadDevice(devices[i], path + ".devices[" + std::to_string(i) + "]"));
        CheckAddressFree(board.devices, path + ".devices[" + std::to_string(i) + "]");
      }
    }
    return board;
  }

  BoardFaults ReadBoardFaults(const json& value, const std::string& path) const {
    Expect(value.is_object(), path, "expected an object");
    CheckKeys(value, path, {"openRefused", "stopsRespondingAfter", "configurationStatus", "reportDelayMs"});
    BoardFaults faults;
    faults.openRefused = Bool(value, path, "openRefused", false);
    faults.stopsRespondingAfter = OptionalCount(value, path, "stopsRespondingAfter");
    faults.configurationStatus = OptionalCount(value, path, "configurationStatus");
    if (value.contains("reportDelayMs"))
      faults.reportDelayMs = static_cast<int>(Unsigned(value["reportDelayMs"], Join(path, "reportDelayMs"), 60000));
    return faults;
  }

  void CheckAddressFree(const std::vector<BenchDevice>& devices, const std::string& path) const {
    const BenchDevice& added = devices.back();
    for (std::size_t i = 0; i + 1 < devices.size(); ++i) {
      Expect(devices[i].address != added.address || devices[i].tenBit != added.tenBit, Join(path, "address"),
             "address already used by another device on this board");
    }
  }

  BenchDevice ReadDevice(const json& value, const std::string& path) const {
    Expect(value.is_object(), path, "expected an object");
    Expect(value.contains("kind"), Join(path, "kind"), "missing");
    const std::string kind = String(value, path, "kind");
    BenchDevice device;
    if (kind == "eeprom") {
      device.kind = DeviceKind::kEeprom;
      CheckKeys(value, path, {"kind", "address", "tenBit", "faults", "addressBytes", "size", "pageSize", "writeCycleMs"});
      ReadEeprom(value, path, device.eeprom);
    } else if (kind == "registers") {
      device.kind = DeviceKind::kRegisterFile;
      CheckKeys(value, path,
                {"kind", "address", "tenBit", "faults", "addressBytes", "size", "autoIncrement", "readOnly",
                 "contents", "contentsFile"});
      ReadRegisters(value, path, device.registers);
    } else if (kind == "temperature") {
      device.kind = DeviceKind::kTemperatureSensor;
      CheckKeys(value, path, {"kind", "address", "tenBit", "faults", "temperature"});
      if (value.contains("temperature")) {
        Expect(value["temperature"].is_number(), Join(path, "temperature"), "expected a number of degrees Celsius");
        device.temperature = value["temperature"].get<double>();
        Expect(device.temperature >= -55.0 && device.temperature <= 125.0, Join(path, "temperature"),
               "outside -55..125 degrees Celsius");
      }
    } else if (kind == "bme280") {
      device.kind = DeviceKind::kBme280;
      CheckKeys(value, path, {"kind", "address", "faults", "temperature", "pressure", "humidity", "calibration"});
      ReadBme280(value, path, device.bme280);
    } else if (kind == "ssd1306") {
      device.kind = DeviceKind::kSsd1306;
      CheckKeys(value, path, {"kind", "address", "faults", "height"});
      device.ssd1306.height = static_cast<int>(UnsignedField(value, path, "height", 64, 64));
      Expect(device.ssd1306.height == 64 || device.ssd1306.height == 32, Join(path, "height"), "must be 64 or 32");
    } else {
      Fail(Join(path, "kind"), "unknown device kind \"" + kind +
                                   "\" (use \"eeprom\", \"registers\", \"temperature\", \"bme280\" or \"ssd1306\")");
    }
    device.tenBit = Bool(value, path, "tenBit", false);
    Expect(value.contains("address"), Join(path, "address"), "missing");
    device.address = static_cast<std::uint16_t>(
        Unsigned(value["address"], Join(path, "address"), device.tenBit ? 0x3FF : 0x77));
    Expect(device.tenBit || device.address >= 0x08, Join(path, "address"), "reserved 7-bit address (below 0x08)");
    // The chips have one address pin: two addresses each.
    Expect(device.kind != DeviceKind::kBme280 || device.address == 0x76 || device.address == 0x77,
           Join(path, "address"), "a BME280 answers at 0x76 or 0x77");
    Expect(device.kind != DeviceKind::kSsd1306 || device.address == 0x3C || device.address == 0x3D,
           Join(path, "address"), "an SSD1306 answers at 0x3C or 0x3D");
    if (value.contains("faults")) device.faults = ReadDeviceFaults(value["faults"], Join(path, "faults"));
    return device;
  }

  void ReadBme280(const json& value, const std::string& path, Bme280Config& config) const {
    Bme280Environment& environment = config.environment;
    // The chip's operating ranges.
    environment.celsius = Number(value, path, "temperature", environment.celsius, -40, 85, "degrees Celsius");
    environment.hectopascal = Number(value, path, "pressure", environment.hectopascal, 300, 1100, "hPa");
    environment.humidity = Number(value, path, "humidity", environment.humidity, 0, 100, "%RH");
    if (!value.contains("calibration")) return;
    const std::string field = Join(path, "calibration");
    const json& trimming = value["calibration"];
    Expect(trimming.is_object(), field, "expected an object of trimming parameters such as \"dig_T1\"");
    for (auto it = trimming.begin(); it != trimming.end(); ++it) {
      const TrimmingField* known = nullptr;
      for (const TrimmingField& candidate : kTrimmingFields) {
        if (it.key() == candidate.name) known = &candidate;
      }
      Expect(known != nullptr, Join(field, it.key()), "unknown field (use dig_T1..dig_T3, dig_P1..dig_P9, dig_H1..dig_H6)");
      known->set(config.calibration, Integer(it.value(), Join(field, it.key()), known->min, known->max));
    }
  }

  void ReadEeprom(const json& value, const std::string& path, EepromConfig& config) const {
    config.addressBytes = static_cast<unsigned>(UnsignedField(value, path, "addressBytes", 2, 2));
    Expect(config.addressBytes >= 1, Join(path, "addressBytes"), "must be 1 or 2");
    const std::uint64_t maxSize = config.addressBytes == 1 ? 256 : 65536;
    config.size = static_cast<std::uint32_t>(UnsignedField(value, path, "size", maxSize, maxSize));
    Expect(config.size != 0 && (config.size & (config.size - 1)) == 0, Join(path, "size"), "must be a power of two");
    config.pageSize = static_cast<std::uint32_t>(
        UnsignedField(value, path, "pageSize", config.addressBytes == 1 ? 8 : 32, config.size));
    Expect(config.pageSize != 0 && config.size % config.pageSize == 0, Join(path, "pageSize"),
           "must divide the memory size");
    config.writeCycleMicros = static_cast<std::uint32_t>(UnsignedField(value, path, "writeCycleMs", 0, 10000) * 1000);
  }

  void ReadRegisters(const json& value, const std::string& path, RegisterFileConfig& config) const {
    config.addressBytes = static_cast<unsigned>(UnsignedField(value, path, "addressBytes", 1, 2));
    Expect(config.addressBytes >= 1, Join(path, "addressBytes"), "must be 1 or 2");
    const std::uint64_t maxSize = config.addressBytes == 1 ? 256 : 65536;
    config.size = static_cast<std::uint32_t>(UnsignedField(value, path, "size", maxSize, maxSize));
    Expect(config.size != 0, Join(path, "size"), "must be at least 1");
    config.autoIncrement = Bool(value, path, "autoIncrement", true);
    if (value.contains("readOnly")) {
      const json& list = value["readOnly"];
      Expect(list.is_array(), Join(path, "readOnly"), "expected an array of register numbers");
      for (std::size_t i = 0; i < list.size(); ++i) {
        config.readOnly.insert(static_cast<std::uint32_t>(
            Unsigned(list[i], path + ".readOnly[" + std::to_string(i) + "]", config.size - 1)));
      }
    }
    Expect(!(value.contains("contents") && value.contains("contentsFile")), Join(path, "contentsFile"),
           "give either \"contents\" or \"contentsFile\", not both");
    if (value.contains("contents")) {
      const json& list = value["contents"];
      Expect(list.is_array(), Join(path, "contents"), "expected an array of byte values");
      Expect(list.size() <= config.size, Join(path, "contents"), "more values than registers");
      for (std::size_t i = 0; i < list.size(); ++i) {
        config.contents.push_back(
            static_cast<std::uint8_t>(Unsigned(list[i], path + ".contents[" + std::to_string(i) + "]", 255)));
      }
    }
    if (value.contains("contentsFile")) config.contents = ReadContentsFile(value, path, config.size);
  }

  std::vector<std::uint8_t> ReadContentsFile(const json& value, const std::string& path, std::uint32_t size) const {
    const std::string field = Join(path, "contentsFile");
    std::string name = String(value, path, "contentsFile");
    if (!name.empty() && name[0] != '/' && !baseDir_.empty()) name = baseDir_ + "/" + name;
    std::ifstream in(name, std::ios::binary);
    Expect(static_cast<bool>(in), field, "cannot read \"" + name + "\"");
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Expect(bytes.size() <= size, field, "\"" + name + "\" holds more bytes than the device has registers");
    return bytes;
  }

  DeviceFaults ReadDeviceFaults(const json& value, const std::string& path) const {
    Expect(value.is_object(), path, "expected an object");
    CheckKeys(value, path, {"nackAfter", "shortRead", "arbitrationLost", "busTimeout", "protocolError", "vccDrop",
                            "extraReadBytes", "extraAcks"});
    DeviceFaults faults;
    faults.nackAfter = OptionalCount(value, path, "nackAfter");
    faults.shortRead = OptionalCount(value, path, "shortRead");
    faults.arbitrationLost = Bool(value, path, "arbitrationLost", false);
    faults.busTimeout = Bool(value, path, "busTimeout", false);
    faults.protocolError = Bool(value, path, "protocolError", false);
    if (value.contains("vccDrop")) {
      faults.vccDrop = static_cast<int>(Unsigned(value["vccDrop"], Join(path, "vccDrop"), 999));
    }
    // Bounded: every byte clocked becomes nine reports.
    for (const char* key : {"extraReadBytes", "extraAcks"}) {
      if (!value.contains(key)) continue;
      const int extra = static_cast<int>(Unsigned(value[key], Join(path, key), 4096));
      (std::string(key) == "extraAcks" ? faults.extraAcks : faults.extraReadBytes) = extra;
    }
    return faults;
  }

  std::string fileName_;
  std::string baseDir_;
};

}  // namespace

Bench DefaultBench() {
  Bench bench;
  BenchBoard board;
  BoardInfo& info = board.info;
  info.name = "Sim I2C Board";
  info.boardNumber = 1;
  info.boardType = 2;
  info.installedVersions = {{"firmware", {2, 1, 0}}, {"FPGA configuration", {1, 4, 2}}, {"driver", {3, 0, 1}}};
  info.requiredVersions = {{"firmware", {2, 0, 0}}, {"FPGA configuration", {1, 4, 0}}, {"driver", {3, 0, 0}}};
  info.capabilityFlags[8] = 1;
  info.capabilityFlags[9] = 1;
  info.bitrates = {10000, 50000, 100000, 400000};
  info.highSpeedBitrates = {1000000, 1700000, 3400000};
  info.maxReadLength = 65536;
  board.i2cVcc = 3300;

  BenchDevice eeprom;
  eeprom.kind = DeviceKind::kEeprom;
  eeprom.address = 0x50;
  eeprom.eeprom = EepromConfig{2, 65536, 64, 0};
  BenchDevice sensor;
  sensor.kind = DeviceKind::kTemperatureSensor;
  sensor.address = 0x48;
  sensor.temperature = 25.5;
  BenchDevice registers;
  registers.kind = DeviceKind::kRegisterFile;
  registers.address = 0x20;
  registers.registers.addressBytes = 1;
  registers.registers.size = 256;
  BenchDevice climate;
  climate.kind = DeviceKind::kBme280;
  climate.address = 0x76;
  BenchDevice display;
  display.kind = DeviceKind::kSsd1306;
  display.address = 0x3C;
  board.devices = {eeprom, sensor, registers, climate, display};
  bench.boards.push_back(board);
  return bench;
}

Bench ParseBench(const std::string& text, const std::string& fileName, const std::string& baseDir) {
  json root;
  try {
    root = json::parse(text);
  } catch (const json::parse_error& error) {
    throw BenchError("bench file '" + fileName + "': not valid JSON: " + error.what());
  }
  return BenchReader(fileName, baseDir).Read(root);
}

Bench LoadBench(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw BenchError("bench file '" + path + "': cannot be opened");
  std::ostringstream text;
  text << in.rdbuf();
  const std::size_t slash = path.find_last_of('/');
  return ParseBench(text.str(), path, slash == std::string::npos ? "." : path.substr(0, slash));
}

}  // namespace zavik::I2cSim
