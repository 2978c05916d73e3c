#include <gtest/gtest.h>

#include "sim/bus_engine.h"
#include "sim/eeprom.h"
#include "sim/register_file.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::Render;

BusMessage Write(std::uint8_t header, std::vector<std::uint8_t> data) {
  BusMessage message;
  message.header = header;
  message.data = std::move(data);
  return message;
}

BusMessage Read(std::uint8_t header, std::uint32_t count) {
  BusMessage message;
  message.read = true;
  message.header = header;
  message.readCount = count;
  return message;
}

class BusEngineTest : public ::testing::Test {
 protected:
  BusEngineTest() {
    RegisterFileConfig config;
    config.contents.assign(0x20, 0);
    config.contents[0x10] = 0x12;
    config.contents[0x11] = 0x34;
    auto registers = std::make_unique<RegisterFile>(config);
    registers50 = registers.get();
    bus.Attach(0x50, false, std::move(registers));
  }

  TransferResult Run(std::vector<BusMessage> messages, std::uint32_t highSpeed = 0) {
    BusTransfer transfer;
    transfer.highSpeedBitrate = highSpeed;
    transfer.messages = std::move(messages);
    transfer.messages.back().last = true;
    return BusEngine(bus, 64).Run(transfer);
  }

  RegisterFile* AttachRegisters(std::uint16_t address, DeviceFaults faults, bool tenBit = false) {
    RegisterFileConfig config;
    config.contents = {0xC0, 0xC1, 0xC2, 0xC3};
    auto device = std::make_unique<RegisterFile>(config);
    RegisterFile* raw = device.get();
    bus.Attach(address, tenBit, std::move(device), faults);
    return raw;
  }

  SimBus bus;
  RegisterFile* registers50 = nullptr;
};

TEST_F(BusEngineTest, RegisterReadIsReportedBitByBit) {
  // Write {0x10} to 0x50, then read 2: address bytes 0xA0 and 0xA1, the
  // master ACKs the first read byte and NACKs the last.
  const TransferResult result = Run({Write(0x50, {0x10}), Read(0x50, 2)});
  EXPECT_EQ(Render(result.reports),
            "22 S 101000000 000100000 22 S 101000010 000100100 001101001 P");
  EXPECT_EQ(result.trace, "S 50W A 10 A Sr 50R A 12 A 34 N P");
  EXPECT_EQ(result.outcome, Outcome::kOk);
}

TEST_F(BusEngineTest, ZeroByteMessagesAreTheAddressByteAndItsAck) {
  EXPECT_EQ(Render(Run({Read(0x50, 0)}).reports), "22 S 101000010 P");
  EXPECT_EQ(Render(Run({Read(0x50, 0), Write(0x50, {})}).reports), "22 S 101000010 22 S 101000000 P");
  EXPECT_EQ(registers50->Pointer(), 0u);  // an address-only write moves nothing
}

TEST_F(BusEngineTest, HighSpeedMessagesBeginWithTheUnacknowledgedMasterCode) {
  const TransferResult result = Run({Write(0x50, {0x11}), Read(0x50, 1)}, 3400000);
  EXPECT_EQ(Render(result.reports),
            "22 S 000010001 22 S 101000000 000100010 22 S 000010001 22 S 101000010 001101001 P");
  EXPECT_EQ(result.trace, "S 08 N Sr 50W A 11 A Sr 08 N Sr 50R A 34 N P");
}

TEST_F(BusEngineTest, AddressNackEndsTheTransferAndReportsTheNextMessageEnded) {
  const TransferResult last = Run({Write(0x52, {1})});
  EXPECT_EQ(Render(last.reports), "22 S 101001001 P");
  EXPECT_EQ(last.outcome, Outcome::kAddressNack);
  // Not the last message: STOP, then the read that never ran is ended (35).
  EXPECT_EQ(Render(Run({Write(0x52, {1}), Read(0x50, 1)}).reports), "22 S 101001001 P 13{35}");
  EXPECT_EQ(Render(Run({Read(0x52, 1), Write(0x50, {1})}).reports), "22 S 101001011 P 13{33}");
}

TEST_F(BusEngineTest, SlaveNacksAfterItsConfiguredDataBytes) {
  DeviceFaults faults;
  faults.nackAfter = 1;
  RegisterFile* device = AttachRegisters(0x51, faults);
  const TransferResult result = Run({Write(0x51, {0x02, 0xEE})});
  // The register address counts as data: it is acknowledged, 0xEE is not.
  EXPECT_EQ(Render(result.reports), "22 S 101000100 000000100 111011101 P");
  EXPECT_EQ(result.outcome, Outcome::kDataNack);
  EXPECT_EQ(device->At(2), 0xC2);  // the refused byte never reached the device
  faults.nackAfter = 0;
  AttachRegisters(0x52, faults);
  EXPECT_EQ(Render(Run({Write(0x52, {0x00}), Read(0x52, 1)}).reports), "22 S 101001000 000000001 P 13{35}");
}

TEST_F(BusEngineTest, ShortReadEndsWithMasterNackAndStop) {
  DeviceFaults faults;
  faults.shortRead = 1;
  AttachRegisters(0x51, faults);
  const TransferResult result = Run({Read(0x51, 3)});
  EXPECT_EQ(Render(result.reports), "22 S 101000110 110000001 P");
  EXPECT_EQ(result.outcome, Outcome::kShortRead);
  faults.shortRead = 0;
  AttachRegisters(0x52, faults);
  EXPECT_EQ(Render(Run({Read(0x52, 2), Write(0x50, {})}).reports), "22 S 101001010 P 13{33}");
  // A request of exactly the delivered length is complete.
  EXPECT_EQ(Run({Read(0x51, 1)}).outcome, Outcome::kOk);
}

TEST_F(BusEngineTest, ReadsLongerThanTheBoardAllowsAreCut) {
  const TransferResult result = Run({Read(0x50, 65)});
  EXPECT_EQ(result.outcome, Outcome::kShortRead);
  // 22, S, address + ack, 64 bytes with their acks, STOP.
  EXPECT_EQ(result.reports.size(), 2u + 9u + 64u * 9u + 1u);
  EXPECT_EQ(Run({Read(0x50, 64)}).outcome, Outcome::kOk);
}

TEST_F(BusEngineTest, TenBitAddressesSendTheLowByteAfterTheHeader) {
  RegisterFile* device = AttachRegisters(0x2A5, DeviceFaults{}, true);
  // 0x2A5: header 0x7A, first address byte 0xF4 (write) / 0xF5 (read).
  const TransferResult result = Run({Write(0x7A, {0xA5, 0x01}), Read(0x7A, 2)});
  EXPECT_EQ(Render(result.reports),
            "22 S 111101000 101001010 000000010 22 S 111101010 110000010 110000101 P");
  EXPECT_EQ(result.trace, "S 7AW A A5 A 01 A Sr 7AR A C1 A C2 N P");
  EXPECT_EQ(device->Pointer(), 3u);
  // Another low byte: the header is acknowledged, the low byte is not.
  EXPECT_EQ(Render(Run({Write(0x7A, {0xA6})}).reports), "22 S 111101000 101001101 P");
  // No 10-bit device with bits 9-8 = 01: the header itself is refused.
  EXPECT_EQ(Render(Run({Write(0x79, {0x23})}).reports), "22 S 111100101 P");
  // A read without a preceding 10-bit write selects nobody.
  EXPECT_EQ(Run({Read(0x7A, 1)}).outcome, Outcome::kAddressNack);
}

TEST_F(BusEngineTest, DeviceFaultsEndTheTransferAfterTheMessageBegins) {
  struct Case {
    DeviceFaults faults;
    const char* reports;
    Outcome outcome;
  };
  DeviceFaults arbitration, timeout, protocol, vcc;
  arbitration.arbitrationLost = true;
  timeout.busTimeout = true;
  protocol.protocolError = true;
  vcc.vccDrop = 999;
  const Case cases[] = {
      {arbitration, "22 S 101 13{32}", Outcome::kArbitrationLost},
      {timeout, "22 S 10100000 13{36}", Outcome::kBusTimeout},
      {protocol, "22 S 8", Outcome::kProtocolError},
      {vcc, "22 S 24{999}", Outcome::kVccLow},
  };
  std::uint16_t address = 0x50;
  for (const Case& c : cases) {
    SimBus faulty;
    faulty.Attach(address, false, std::make_unique<RegisterFile>(RegisterFileConfig{}), c.faults);
    BusTransfer transfer;
    transfer.messages = {Write(static_cast<std::uint8_t>(address), {1}), Read(static_cast<std::uint8_t>(address), 1)};
    transfer.messages.back().last = true;
    const TransferResult result = BusEngine(faulty, 64).Run(transfer);
    EXPECT_EQ(Render(result.reports), c.reports);
    EXPECT_EQ(result.outcome, c.outcome);
  }
}

TEST_F(BusEngineTest, EepromPollingSeesTheWriteCycle) {
  SimTest::FakeClock clock;
  SimBus eepromBus;
  eepromBus.Attach(0x57, false, std::make_unique<Eeprom>(EepromConfig{1, 256, 8, 5000}, clock));
  BusEngine engine(eepromBus, 64);
  BusTransfer write;
  write.messages = {Write(0x57, {0x00, 0x5A})};
  write.messages.back().last = true;
  EXPECT_EQ(engine.Run(write).outcome, Outcome::kOk);
  BusTransfer poll;
  poll.messages = {Write(0x57, {})};
  poll.messages.back().last = true;
  EXPECT_EQ(Render(engine.Run(poll).reports), "22 S 101011101 P");
  clock.now += 5000;
  EXPECT_EQ(engine.Run(poll).outcome, Outcome::kOk);
}

}  // namespace
}  // namespace zavik::I2cSim
