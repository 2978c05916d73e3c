#include <gtest/gtest.h>

#include "sim/eeprom.h"
#include "sim/register_file.h"
#include "sim/temperature_sensor.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::FakeClock;

// Drives one write message as the bus engine would; returns the acks.
std::vector<bool> WriteMessage(I2cDevice& device, std::initializer_list<std::uint8_t> bytes, bool stop = true) {
  std::vector<bool> acks{device.Select(false)};
  if (acks[0]) {
    for (std::uint8_t byte : bytes) acks.push_back(device.Write(byte));
  }
  device.Release(stop);
  return acks;
}

std::vector<std::uint8_t> ReadMessage(I2cDevice& device, int count) {
  std::vector<std::uint8_t> bytes;
  if (!device.Select(true)) return bytes;
  for (int i = 0; i < count; ++i) bytes.push_back(device.Read());
  device.Release(true);
  return bytes;
}

class EepromTest : public ::testing::Test {
 protected:
  FakeClock clock;
  Eeprom small{EepromConfig{1, 256, 8, 0}, clock};      // 24C02 style
  Eeprom large{EepromConfig{2, 65536, 64, 5000}, clock};  // 24C32 style, 5 ms write cycle
};

TEST_F(EepromTest, PageWriteWrapsInsideItsPage) {
  WriteMessage(small, {0x06, 1, 2, 3, 4});
  EXPECT_EQ(small.At(0x06), 1);
  EXPECT_EQ(small.At(0x07), 2);
  EXPECT_EQ(small.At(0x00), 3);  // wrapped to the page start, not into page 1
  EXPECT_EQ(small.At(0x01), 4);
  EXPECT_EQ(small.At(0x08), 0xFF);
  EXPECT_EQ(small.Pointer(), 0x02u);
}

TEST_F(EepromTest, MoreThanAPageKeepsTheLastBytesWritten) {
  // 10 bytes into an 8-byte page from offset 0: bytes 9 and 10 overwrite 1 and 2.
  WriteMessage(small, {0x10, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  EXPECT_EQ(small.At(0x10), 9);
  EXPECT_EQ(small.At(0x11), 10);
  EXPECT_EQ(small.At(0x12), 3);
  EXPECT_EQ(small.At(0x17), 8);
  EXPECT_EQ(small.At(0x18), 0xFF);
}

TEST_F(EepromTest, SequentialReadWrapsAroundTheWholeMemory) {
  WriteMessage(small, {0x00, 0xAA});
  WriteMessage(small, {0xFF, 0xBB});
  WriteMessage(small, {0xFF});  // word address only: sets the pointer
  EXPECT_EQ(ReadMessage(small, 3), (std::vector<std::uint8_t>{0xBB, 0xAA, 0xFF}));
}

TEST_F(EepromTest, AddressOnlyWriteLeavesThePointer) {
  WriteMessage(small, {0x40});
  WriteMessage(small, {});
  EXPECT_EQ(small.Pointer(), 0x40u);
  // A partial 2-byte word address does not move it either.
  clock.now += 10000;
  WriteMessage(large, {0x12, 0x34});
  WriteMessage(large, {0x56});
  EXPECT_EQ(large.Pointer(), 0x1234u);
}

TEST_F(EepromTest, RepeatedStartAfterDataAbortsTheWrite) {
  WriteMessage(small, {0x20, 0x55}, /*stop=*/false);
  EXPECT_EQ(small.At(0x20), 0xFF);
  EXPECT_EQ(small.Pointer(), 0x20u);
}

TEST_F(EepromTest, WriteCycleNacksTheAddressUntilItEnds) {
  EXPECT_EQ(WriteMessage(large, {0x01, 0x00, 0x42}), (std::vector<bool>{true, true, true, true}));
  EXPECT_FALSE(large.Select(false));
  clock.now += 4999;
  EXPECT_FALSE(large.Select(true));
  clock.now += 1;
  // Setting the pointer alone starts no write cycle.
  WriteMessage(large, {0x01, 0x00});
  EXPECT_EQ(ReadMessage(large, 1), (std::vector<std::uint8_t>{0x42}));
}

TEST(RegisterFileTest, AutoIncrementWrapsAndReadOnlyRegistersKeepTheirValue) {
  RegisterFileConfig config;
  config.size = 4;
  config.readOnly = {1};
  config.contents = {0x10, 0x11};
  RegisterFile device(config);
  EXPECT_EQ(WriteMessage(device, {0x03, 0xA3, 0xA0, 0xA1}), (std::vector<bool>{true, true, true, true, true}));
  EXPECT_EQ(device.At(3), 0xA3);
  EXPECT_EQ(device.At(0), 0xA0);
  EXPECT_EQ(device.At(1), 0x11);  // read-only: acknowledged, unchanged
  WriteMessage(device, {0x00});
  EXPECT_EQ(ReadMessage(device, 5), (std::vector<std::uint8_t>{0xA0, 0x11, 0x00, 0xA3, 0xA0}));
}

TEST(RegisterFileTest, WithoutAutoIncrementThePointerStays) {
  RegisterFileConfig config;
  config.autoIncrement = false;
  config.contents = {1, 2, 3};
  RegisterFile device(config);
  WriteMessage(device, {0x01});
  EXPECT_EQ(ReadMessage(device, 3), (std::vector<std::uint8_t>{2, 2, 2}));
  WriteMessage(device, {0x02, 7, 8});
  EXPECT_EQ(device.At(2), 8);
  EXPECT_EQ(device.At(3), 0);
}

TEST(RegisterFileTest, TwoByteRegisterAddressesAreBigEndian) {
  RegisterFileConfig config;
  config.addressBytes = 2;
  config.size = 0x300;
  RegisterFile device(config);
  WriteMessage(device, {0x02, 0x10, 0x99});
  EXPECT_EQ(device.At(0x210), 0x99);
  EXPECT_EQ(device.Pointer(), 0x211u);
}

TEST(TemperatureSensorTest, ReadingsAreNineBitLeftAlignedBigEndian) {
  EXPECT_EQ(TemperatureSensor::Encode(25.5), 0x1980);
  EXPECT_EQ(TemperatureSensor::Encode(-25.0), 0xE700);
  EXPECT_EQ(TemperatureSensor::Encode(-0.5), 0xFF80);
  EXPECT_EQ(TemperatureSensor::Encode(125.0), 0x7D00);
  TemperatureSensor sensor(25.5);
  // The pointer powers up at the temperature register; reads repeat it.
  EXPECT_EQ(ReadMessage(sensor, 3), (std::vector<std::uint8_t>{0x19, 0x80, 0x19}));
  sensor.SetTemperature(-55.0);
  EXPECT_EQ(ReadMessage(sensor, 2), (std::vector<std::uint8_t>{0xC9, 0x00}));
}

TEST(TemperatureSensorTest, PointerSelectsRegistersThatKeepOnlyValidBits) {
  TemperatureSensor sensor(20.0);
  WriteMessage(sensor, {0x03, 0x55, 0xFF});  // over-temperature limit
  EXPECT_EQ(sensor.RegisterValue(TemperatureSensor::kOverTemperature), 0x5580);
  WriteMessage(sensor, {0x00, 0x12, 0x34});  // temperature is read-only
  EXPECT_EQ(sensor.RegisterValue(TemperatureSensor::kTemperature), TemperatureSensor::Encode(20.0));
  WriteMessage(sensor, {0x01, 0x06});
  EXPECT_EQ(ReadMessage(sensor, 2), (std::vector<std::uint8_t>{0x06, 0x06}));  // one-byte register
  WriteMessage(sensor, {0x02});
  EXPECT_EQ(ReadMessage(sensor, 2), (std::vector<std::uint8_t>{0x4B, 0x00}));  // hysteresis 75
}

}  // namespace
}  // namespace zavik::I2cSim
