#include <gtest/gtest.h>

#include <cstdio>
#include <dirent.h>

#include "sim/bench.h"

namespace zavik::I2cSim {
namespace {

TEST(BenchTest, EveryExampleBenchLoads) {
  DIR* dir = opendir(SIM_BENCH_DIR);
  ASSERT_NE(dir, nullptr);
  int loaded = 0;
  while (dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name.size() < 5 || name.substr(name.size() - 5) != ".json") continue;
    EXPECT_NO_THROW(LoadBench(std::string(SIM_BENCH_DIR) + "/" + name)) << name;
    ++loaded;
  }
  closedir(dir);
  EXPECT_GE(loaded, 10);
}

TEST(BenchTest, FieldsAreReadAsDocumented) {
  const std::string dir = ::testing::TempDir();
  std::FILE* out = std::fopen((dir + "/regs.bin").c_str(), "wb");
  ASSERT_NE(out, nullptr);
  std::fwrite("\x01\x02\x03", 1, 3, out);
  std::fclose(out);
  const Bench bench = ParseBench(R"({
    "scheduler": {"version": "1.5.9", "maxClients": 2, "outputChunkBytes": 1},
    "boards": [{"name": "B", "number": "0x102", "type": 3, "bitrates": [100000],
                "installed": {"firmware": "1.2.3", "driver": "0.0.0"}, "required": {"firmware": "1.2.4"},
                "masterRead": false, "i2cVcc": 900, "faults": {"stopsRespondingAfter": 0},
                "devices": [{"kind": "eeprom", "address": 80, "addressBytes": 1, "writeCycleMs": 5,
                             "faults": {"nackAfter": 0, "vccDrop": 700}},
                            {"kind": "registers", "address": "0x3FF", "tenBit": true, "contents": [1, "0xFF"]},
                            {"kind": "registers", "address": 32, "contentsFile": "regs.bin"},
                            {"kind": "bme280", "address": "0x77", "temperature": -40, "pressure": 1100,
                             "humidity": 0, "calibration": {"dig_T1": "0x6B70", "dig_H4": -2048, "dig_H6": 127}},
                            {"kind": "ssd1306", "address": "0x3D", "height": 32}]}]})",
                                 "inline.json", dir);
  std::remove((dir + "/regs.bin").c_str());
  EXPECT_EQ(bench.scheduler.version.minor, 5);
  const BenchBoard& board = bench.boards.at(0);
  EXPECT_EQ(board.info.boardNumber, 258);
  EXPECT_EQ(board.info.installedVersions.count("driver"), 0u);  // 0.0.0 is absent
  EXPECT_EQ(board.info.requiredVersions.at("firmware").build, 4);
  EXPECT_FALSE(board.info.MasterRxSupported());
  EXPECT_EQ(board.faults.stopsRespondingAfter, 0);
  EXPECT_EQ(board.devices[0].eeprom.size, 256u);
  EXPECT_EQ(board.devices[0].eeprom.writeCycleMicros, 5000u);
  EXPECT_EQ(board.devices[0].faults.nackAfter, 0);
  EXPECT_EQ(board.devices[0].faults.vccDrop, 700);
  EXPECT_EQ(board.devices[1].address, 0x3FF);
  EXPECT_EQ(board.devices[1].registers.contents, (std::vector<std::uint8_t>{1, 0xFF}));
  EXPECT_EQ(board.devices[2].registers.contents, (std::vector<std::uint8_t>{1, 2, 3}));
  const Bme280Config& climate = board.devices[3].bme280;
  EXPECT_EQ(climate.environment.celsius, -40);
  EXPECT_EQ(climate.environment.hectopascal, 1100);
  EXPECT_EQ(climate.environment.humidity, 0);
  EXPECT_EQ(climate.calibration.T1, 0x6B70);
  EXPECT_EQ(climate.calibration.T2, Bme280Calibration{}.T2);  // the rest keep the defaults
  EXPECT_EQ(climate.calibration.H4, -2048);
  EXPECT_EQ(climate.calibration.H6, 127);
  EXPECT_EQ(board.devices[4].ssd1306.height, 32);
}

std::string ErrorOf(const std::string& text) {
  try {
    ParseBench(text, "bad.json", ".");
  } catch (const BenchError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(BenchTest, BadBenchesAreRefusedNamingFileFieldAndProblem) {
  const std::string device =
      R"({"boards": [{"name": "B", "number": 1, "type": 2, "bitrates": [100000], "devices": [{"kind": )";
  const struct {
    std::string text;
    std::string message;
  } cases[] = {
      {"{\"boards\": [", "bench file 'bad.json': not valid JSON"},
      {"{}", "bench file 'bad.json': boards: missing"},
      {R"({"boards": [{"number": 1, "type": 2, "bitrates": []}]})", "boards[0].name: missing"},
      {R"({"boards": [{"name": "B", "number": 1, "type": 2, "bitrates": [100000, "fast"]}]})",
       "boards[0].bitrates[1]: expected an unsigned integer, got \"fast\""},
      {R"({"boards": [{"name": "B", "number": 1, "type": 2, "bitrates": [0]}]})",
       "boards[0].bitrates[0]: a bitrate cannot be 0"},
      {R"({"boards": [{"name": "B", "number": 65536, "type": 2, "bitrates": []}]})",
       "boards[0].number: value 65536 is above 65535"},
      {"{\"scheduler\": {\"version\": \"1.6\"}, \"boards\": []}", "scheduler.version: expected a version"},
      {device + R"("eeprom", "address": 80, "faults": {"nackAfterr": 1}}]}]})",
       "boards[0].devices[0].faults.nackAfterr: unknown field"},
      {device + R"("fram", "address": 80}]}]})", "boards[0].devices[0].kind: unknown device kind \"fram\""},
      {device + R"("eeprom", "address": "0x78"}]}]})", "boards[0].devices[0].address: value 120 is above 119"},
      {device + R"("eeprom", "address": 80, "size": 1000}]}]})", "boards[0].devices[0].size: must be a power of two"},
      {device + R"("temperature", "address": 72}, {"kind": "registers", "address": "0x48"}]}]})",
       "boards[0].devices[1].address: address already used"},
      {device + R"("registers", "address": 32, "contentsFile": "none.bin"}]}]})",
       "boards[0].devices[0].contentsFile: cannot read \"./none.bin\""},
      {device + R"("bme280", "address": "0x50"}]}]})", "boards[0].devices[0].address: a BME280 answers at 0x76 or 0x77"},
      {device + R"("bme280", "address": "0x76", "temperature": 85.5}]}]})",
       "boards[0].devices[0].temperature: outside -40..85 degrees Celsius"},
      {device + R"("bme280", "address": "0x76", "calibration": {"dig_H4": 2048}}]}]})",
       "boards[0].devices[0].calibration.dig_H4: value 2048 is outside -2048..2047"},
      {device + R"("bme280", "address": "0x76", "calibration": {"dig_T4": 1}}]}]})",
       "boards[0].devices[0].calibration.dig_T4: unknown field"},
      {device + R"("ssd1306", "address": "0x3C", "height": 48}]}]})", "boards[0].devices[0].height: must be 64 or 32"},
  };
  for (const auto& c : cases) {
    const std::string error = ErrorOf(c.text);
    EXPECT_NE(error.find(c.message), std::string::npos) << "got: " << error << "\nfor: " << c.text;
    EXPECT_EQ(error.rfind("bench file 'bad.json': ", 0), 0u) << error;
  }
  EXPECT_THROW(LoadBench("/nonexistent/bench.json"), BenchError);
}

}  // namespace
}  // namespace zavik::I2cSim
