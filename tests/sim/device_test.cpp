#include <gtest/gtest.h>

#include "sim/eeprom.h"
#include "sim/register_file.h"
#include "sim/temperature_sensor.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::Bytes;
using SimTest::ReadMessage;
using SimTest::WriteMessage;

class EepromTest : public ::testing::Test {
 protected:
  Bytes Memory(const Eeprom& eeprom, std::uint32_t from, std::uint32_t count) {
    Bytes out;
    for (std::uint32_t i = 0; i < count; ++i) out.push_back(eeprom.At(from + i));
    return out;
  }

  HandClock clock;
  Eeprom small{EepromConfig{1, 256, 8, 0}, clock};        // 24C02 style, 8-byte pages
  Eeprom large{EepromConfig{2, 65536, 64, 5000}, clock};  // 24C32 style, 5 ms write cycle
};

TEST_F(EepromTest, PageWritesWrapInsideTheirPage) {
  WriteMessage(small, {0x06, 1, 2, 3, 4});  // wraps to the page start, not into page 1
  EXPECT_EQ(Memory(small, 0, 9), (Bytes{3, 4, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 0xFF}));
  EXPECT_EQ(small.Pointer(), 0x02u);
  // 10 bytes into one page: bytes 9 and 10 overwrite 1 and 2.
  WriteMessage(small, {0x10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  EXPECT_EQ(Memory(small, 0x10, 9), (Bytes{9, 10, 3, 4, 5, 6, 7, 8, 0xFF}));
  // A repeated START after data aborts the write.
  WriteMessage(small, {0x20, 0x55}, /*stop=*/false);
  EXPECT_EQ(small.At(0x20), 0xFF);
}

TEST_F(EepromTest, PointerRulesAndSequentialReadsWrappingTheWholeMemory) {
  WriteMessage(small, {0x00, 0xAA});
  WriteMessage(small, {0xFF, 0xBB});
  WriteMessage(small, {0xFF});  // word address only: sets the pointer
  EXPECT_EQ(ReadMessage(small, 3), (Bytes{0xBB, 0xAA, 0xFF}));
  WriteMessage(small, {0x40});
  WriteMessage(small, {});  // address only: leaves it
  EXPECT_EQ(small.Pointer(), 0x40u);
  // A partial 2-byte word address does not move it either.
  WriteMessage(large, {0x12, 0x34});
  WriteMessage(large, {0x56});
  EXPECT_EQ(large.Pointer(), 0x1234u);
}

TEST_F(EepromTest, WriteCycleNacksTheAddressUntilItEnds) {
  EXPECT_EQ(WriteMessage(large, {0x01, 0x00, 0x42}), (std::vector<bool>{true, true, true, true}));
  EXPECT_FALSE(large.Select(false));
  clock.Advance(4999);
  EXPECT_FALSE(large.Select(true));
  clock.Advance(1);
  WriteMessage(large, {0x01, 0x00});  // setting the pointer alone starts no write cycle
  EXPECT_EQ(ReadMessage(large, 1), (Bytes{0x42}));
}

TEST(RegisterFileTest, AutoIncrementWrapsAndReadOnlyRegistersKeepTheirValue) {
  RegisterFileConfig config;
  config.size = 4;
  config.readOnly = {1};
  config.contents = {0x10, 0x11};
  RegisterFile device(config);
  EXPECT_EQ(WriteMessage(device, {0x03, 0xA3, 0xA0, 0xA1}), (std::vector<bool>(5, true)));
  WriteMessage(device, {0x00});
  EXPECT_EQ(ReadMessage(device, 5), (Bytes{0xA0, 0x11, 0x00, 0xA3, 0xA0}));
  // Without auto-increment the pointer stays.
  config.autoIncrement = false;
  RegisterFile fixed(config);
  WriteMessage(fixed, {0x02, 7, 8});
  EXPECT_EQ(ReadMessage(fixed, 2), (Bytes{8, 8}));
  // Two-byte register addresses are big-endian.
  config.addressBytes = 2;
  config.size = 0x300;
  RegisterFile wide(config);
  WriteMessage(wide, {0x02, 0x10, 0x99});
  EXPECT_EQ(wide.At(0x210), 0x99);
}

TEST(TemperatureSensorTest, ReadingsAndRegisters) {
  EXPECT_EQ(TemperatureSensor::Encode(-25.0), 0xE700);
  EXPECT_EQ(TemperatureSensor::Encode(-0.5), 0xFF80);
  EXPECT_EQ(TemperatureSensor::Encode(125.0), 0x7D00);
  TemperatureSensor sensor(25.5);
  // The pointer powers up at the temperature register; reads repeat it.
  EXPECT_EQ(ReadMessage(sensor, 3), (Bytes{0x19, 0x80, 0x19}));
  WriteMessage(sensor, {0x03, 0x55, 0xFF});  // over-temperature limit keeps 9 bits
  EXPECT_EQ(sensor.RegisterValue(TemperatureSensor::kOverTemperature), 0x5580);
  WriteMessage(sensor, {0x00, 0x12, 0x34});  // temperature is read-only
  EXPECT_EQ(ReadMessage(sensor, 2), (Bytes{0x19, 0x80}));
  WriteMessage(sensor, {0x01, 0x06});
  EXPECT_EQ(ReadMessage(sensor, 2), (Bytes{0x06, 0x06}));  // one-byte register
  WriteMessage(sensor, {0x02});
  EXPECT_EQ(ReadMessage(sensor, 2), (Bytes{0x4B, 0x00}));  // hysteresis 75
}

}  // namespace
}  // namespace zavik::I2cSim
