#include <gtest/gtest.h>

#include "sim/bus_engine.h"
#include "sim/register_file.h"
#include "sim_test_util.h"

namespace zavik::I2cSim {
namespace {

using SimTest::Render;

BusMessage Write(std::uint8_t header, std::vector<std::uint8_t> data) { return {false, header, std::move(data)}; }
BusMessage Read(std::uint8_t header, std::uint32_t count) { return {true, header, {}, count}; }

class BusEngineTest : public ::testing::Test {
 protected:
  BusEngineTest() {
    RegisterFileConfig config;
    config.contents.assign(0x20, 0);
    config.contents[0x10] = 0x12;
    config.contents[0x11] = 0x34;
    bus.Attach(0x50, false, std::make_unique<RegisterFile>(config));
  }

  TransferResult Run(std::vector<BusMessage> messages, std::uint32_t highSpeed = 0) {
    BusTransfer transfer;
    transfer.highSpeedBitrate = highSpeed;
    transfer.messages = std::move(messages);
    transfer.messages.back().last = true;
    return BusEngine(bus, 64).Run(transfer);
  }

  // A register file holding C0 C1 C2 C3.
  RegisterFile* Attach(std::uint16_t address, DeviceFaults faults = {}, bool tenBit = false) {
    RegisterFileConfig config;
    config.contents = {0xC0, 0xC1, 0xC2, 0xC3};
    auto device = std::make_unique<RegisterFile>(config);
    RegisterFile* raw = device.get();
    bus.Attach(address, tenBit, std::move(device), faults);
    return raw;
  }

  SimBus bus;
};

TEST_F(BusEngineTest, RegisterReadIsReportedBitByBit) {
  // Write {0x10} to 0x50, then read 2: address bytes 0xA0 and 0xA1, the
  // master ACKs the first read byte and NACKs the last.
  const TransferResult result = Run({Write(0x50, {0x10}), Read(0x50, 2)});
  EXPECT_EQ(Render(result.reports), "22 S 101000000 000100000 22 S 101000010 000100100 001101001 P");
  EXPECT_EQ(result.trace, "S 50W A 10 A Sr 50R A 12 A 34 N P");
  EXPECT_EQ(result.outcome, Outcome::kOk);
  // Zero-byte messages are the address byte and its ACK.
  EXPECT_EQ(Render(Run({Read(0x50, 0), Write(0x50, {})}).reports), "22 S 101000010 22 S 101000000 P");
}

TEST_F(BusEngineTest, HighSpeedMessagesBeginWithTheUnacknowledgedMasterCode) {
  const TransferResult result = Run({Write(0x50, {0x11}), Read(0x50, 1)}, 3400000);
  EXPECT_EQ(Render(result.reports),
            "22 S 000010001 22 S 101000000 000100010 22 S 000010001 22 S 101000010 001101001 P");
  EXPECT_EQ(result.trace, "S 08 N Sr 50W A 11 A Sr 08 N Sr 50R A 34 N P");
}

// Everything that ends a transfer early: STOP at once, and a message that
// never ran is reported ended (35 after a write, 33 after a read); faults of
// the device come only after the message's 22.
TEST_F(BusEngineTest, EarlyEndsStopTheTransfer) {
  DeviceFaults nack1, nack0, short1, short0, arbitration, timeout, protocol, vcc;
  nack1.nackAfter = 1;
  nack0.nackAfter = 0;
  short1.shortRead = 1;
  short0.shortRead = 0;
  arbitration.arbitrationLost = true;
  timeout.busTimeout = true;
  protocol.protocolError = true;
  vcc.vccDrop = 999;
  RegisterFile* refusing = Attach(0x51, nack1);
  Attach(0x53, nack0);
  Attach(0x54, short1);
  Attach(0x55, short0);
  Attach(0x56, arbitration);
  Attach(0x57, timeout);
  Attach(0x58, protocol);
  Attach(0x59, vcc);
  const struct {
    std::vector<BusMessage> messages;
    const char* reports;
    Outcome outcome;
  } cases[] = {
      {{Write(0x52, {1})}, "22 S 101001001 P", Outcome::kAddressNack},
      {{Write(0x52, {1}), Read(0x50, 1)}, "22 S 101001001 P 13{35}", Outcome::kAddressNack},
      {{Read(0x52, 1), Write(0x50, {1})}, "22 S 101001011 P 13{33}", Outcome::kAddressNack},
      // The register address counts as data: it is acknowledged, 0xEE is not.
      {{Write(0x51, {0x02, 0xEE})}, "22 S 101000100 000000100 111011101 P", Outcome::kDataNack},
      {{Write(0x53, {0x00}), Read(0x53, 1)}, "22 S 101001100 000000001 P 13{35}", Outcome::kDataNack},
      {{Read(0x54, 3)}, "22 S 101010010 110000001 P", Outcome::kShortRead},
      {{Read(0x54, 1)}, "22 S 101010010 110000011 P", Outcome::kOk},  // the next byte, C1
      {{Read(0x55, 2), Write(0x50, {})}, "22 S 101010110 P 13{33}", Outcome::kShortRead},
      {{Write(0x56, {1}), Read(0x56, 1)}, "22 S 101 13{32}", Outcome::kArbitrationLost},
      {{Write(0x57, {1}), Read(0x57, 1)}, "22 S 10101110 13{36}", Outcome::kBusTimeout},
      {{Write(0x58, {1}), Read(0x58, 1)}, "22 S 8", Outcome::kProtocolError},
      {{Write(0x59, {1}), Read(0x59, 1)}, "22 S 24{999}", Outcome::kVccLow},
  };
  for (const auto& c : cases) {
    const TransferResult result = Run(c.messages);
    EXPECT_EQ(Render(result.reports), c.reports);
    EXPECT_EQ(result.outcome, c.outcome) << c.reports;
  }
  EXPECT_EQ(refusing->At(2), 0xC2);  // the refused byte never reached the device
  // Reads longer than the board allows are cut: 22, S, address, 64 bytes, P.
  const TransferResult cut = Run({Read(0x50, 65)});
  EXPECT_EQ(cut.outcome, Outcome::kShortRead);
  EXPECT_EQ(cut.reports.size(), 2u + 9u + 64u * 9u + 1u);
  EXPECT_EQ(Run({Read(0x50, 64)}).outcome, Outcome::kOk);
}

TEST_F(BusEngineTest, TenBitAddressesSendTheLowByteAfterTheHeader) {
  RegisterFile* device = Attach(0x2A5, {}, true);
  // 0x2A5: header 0x7A, first address byte 0xF4 (write) / 0xF5 (read).
  const TransferResult result = Run({Write(0x7A, {0xA5, 0x01}), Read(0x7A, 2)});
  EXPECT_EQ(Render(result.reports), "22 S 111101000 101001010 000000010 22 S 111101010 110000010 110000101 P");
  EXPECT_EQ(result.trace, "S 7AW A A5 A 01 A Sr 7AR A C1 A C2 N P");
  EXPECT_EQ(device->Pointer(), 3u);
  // Another low byte: the header is acknowledged, the low byte is not.
  EXPECT_EQ(Render(Run({Write(0x7A, {0xA6})}).reports), "22 S 111101000 101001101 P");
  // No 10-bit device with bits 9-8 = 01: the header itself is refused.
  EXPECT_EQ(Render(Run({Write(0x79, {0x23})}).reports), "22 S 111100101 P");
  // A read without a preceding 10-bit write selects nobody.
  EXPECT_EQ(Run({Read(0x7A, 1)}).outcome, Outcome::kAddressNack);
}

}  // namespace
}  // namespace zavik::I2cSim
