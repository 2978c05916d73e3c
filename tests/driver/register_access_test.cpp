// The register exports: their argument checks (no scheduler needed) and,
// when run under the simulator harness (I2CZAVIK_SIM_PORT set, the exports
// always reach 127.0.0.1:3000), the road of register writes and reads end to
// end, and each way a transfer can fail.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "i2czavik.h"

namespace {

std::string Status() {
  char buffer[I2CZAVIK_STATUS_TEXT_SIZE];
  std::memset(buffer, 'x', sizeof buffer);
  UrdGetStatus(buffer);
  return std::string(buffer);
}

const std::string kShortCount = "The number of data bytes is not valid (range: 0..4)";
const std::string kAddressCount = "The number of address bytes is not valid (range: 1..8)";
const std::string kNegativeCount = "The number of data bytes is not valid (< 0)";
const std::string kNullAddress = "Pointer to I2C address array is equal to NULL.";
const std::string kNullData = "Pointer to data array is equal to NULL.";
const std::string kNoSlave = "There is no slave responsible for this I2C address.";

// The texts are the library's own; UrdGetStatus delivers at most 49 of them.
std::string Delivered(const std::string& text) { return text.substr(0, I2CZAVIK_STATUS_TEXT_SIZE - 1); }

#define EXPECT_FAILS_WITH(call, text)      \
  do {                                     \
    EXPECT_EQ((call), 0) << #call;         \
    EXPECT_EQ(Status(), Delivered(text)) << #call; \
  } while (0)

// ---------------------------------------------------------------------------
// Argument checks, with no global client.

TEST(RegisterArguments, ShortFormsCheckTheDataCountFirst) {
  unsigned char a[2] = {0x00, 0x40};
  unsigned char d[4] = {};
  EXPECT_FAILS_WITH(UrdSetReg(2, 5, a, 0u), kShortCount);
  EXPECT_FAILS_WITH(UrdSetReg(0, 5, nullptr, 0u), kShortCount);
  EXPECT_FAILS_WITH(UrdSetReg(2, -1, a, 0u), kShortCount);
  EXPECT_FAILS_WITH(UrdGetReg(9, 5, nullptr, nullptr), kShortCount);
  EXPECT_FAILS_WITH(UrdGetReg(1, -1, a, d), kShortCount);
  EXPECT_FAILS_WITH(UrdSetReg(0, 4, a, 0u), kAddressCount);  // then the long form's checks
  EXPECT_FAILS_WITH(UrdGetReg(1, 4, a, nullptr), kNullData);
}

TEST(RegisterArguments, LongFormsCheckInOrder) {
  unsigned char a[8] = {0, 0, 0, 0, 0, 0, 0, 0x40};
  unsigned char d[1] = {};
  EXPECT_FAILS_WITH(UrdSetLongReg(0, 1, a, d), kAddressCount);
  EXPECT_FAILS_WITH(UrdSetLongReg(9, 1, a, d), kAddressCount);
  EXPECT_FAILS_WITH(UrdGetLongReg(0, -1, nullptr, nullptr), kAddressCount);
  EXPECT_FAILS_WITH(UrdGetLongReg(1, -1, nullptr, nullptr), kNegativeCount);
  EXPECT_FAILS_WITH(UrdSetLongReg(8, 0, nullptr, nullptr), kNullAddress);
  EXPECT_FAILS_WITH(UrdSetLongReg(1, 0, a, nullptr), kNullData);  // also without data bytes
  EXPECT_FAILS_WITH(UrdGetLongReg(1, 0, a, nullptr), kNullData);
}

TEST(RegisterArguments, LongTextArrivesCutTo49Characters) {
  unsigned char a[1] = {0x40};
  unsigned char d[1] = {};
  ASSERT_EQ(kAddressCount.size(), 54u);
  EXPECT_EQ(UrdSetLongReg(0, 1, a, d), 0);
  char buffer[I2CZAVIK_STATUS_TEXT_SIZE];
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(UrdGetStatus(buffer), buffer);
  EXPECT_EQ(std::string(buffer, 49), kAddressCount.substr(0, 49));
  EXPECT_EQ(buffer[49], '\0');
}

TEST(RegisterArguments, WithoutAClientTheSlaveAddressIsStillValidated) {
  unsigned char reserved[2] = {0x10, 0x08};  // slave 4
  unsigned char valid[2] = {0x10, 0x41};     // slave 0x20, lowest bit ignored
  unsigned char d[2] = {0xEE, 0xEE};
  EXPECT_FAILS_WITH(UrdSetLongReg(2, 1, reserved, d), "The value \"4\" is not a valid 7 bit I2C address.");
  unsigned char high[1] = {0xF7};  // slave 123
  EXPECT_FAILS_WITH(UrdGetLongReg(1, 1, high, d), "The value \"123\" is not a valid 7 bit I2C address.");
  EXPECT_FAILS_WITH(UrdSetLongReg(2, 1, valid, d), "Unknown error");
  EXPECT_FAILS_WITH(UrdGetLongReg(2, 2, valid, d), "Unknown error");
  EXPECT_EQ(d[0], 0xEE);
  EXPECT_EQ(d[1], 0xEE);
}

// ---------------------------------------------------------------------------
// End to end, under the simulator harness.

bool UnderSimulator() { return std::getenv("I2CZAVIK_SIM_PORT") != nullptr; }

class WithSimulator : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!UnderSimulator()) GTEST_SKIP() << "needs the simulator harness";
    ASSERT_EQ(UrdOpen(), 1) << Status();
  }
  void TearDown() override {
    if (UnderSimulator()) UrdClose();
  }
};

// The address array of a register: its address bytes least significant first,
// then the slave's address byte.
std::vector<unsigned char> Address(std::uint8_t slave, std::uint32_t reg, int registerBytes) {
  std::vector<unsigned char> a;
  for (int i = 0; i < registerBytes; ++i) a.push_back(static_cast<unsigned char>(reg >> (8 * i)));
  a.push_back(static_cast<unsigned char>(slave << 1));
  return a;
}

std::vector<unsigned char> Pattern(std::size_t count, unsigned seed) {
  std::vector<unsigned char> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(seed * 31 + i * 7 + 1);
  return bytes;
}

int Write(const std::vector<unsigned char>& a, const std::vector<unsigned char>& data) {
  static const unsigned char none = 0;
  return UrdSetLongReg(static_cast<int>(a.size()), static_cast<int>(data.size()), a.data(),
                       data.empty() ? &none : data.data());
}

std::vector<unsigned char> Read(const std::vector<unsigned char>& a, std::size_t count) {
  std::vector<unsigned char> data(count + 1, 0xEE);
  EXPECT_EQ(UrdGetLongReg(static_cast<int>(a.size()), static_cast<int>(count), a.data(), data.data()), 1) << Status();
  EXPECT_EQ(data[count], 0xEE) << "byte after the requested ones written";
  data.resize(count);
  return data;
}

using RegisterAccessSim = WithSimulator;

TEST_F(RegisterAccessSim, RegisterFileWriteThenReadBack) {
  struct Device {
    std::uint8_t slave;
    int registerBytes;
    std::uint32_t size;
  };
  for (const Device& device : {Device{0x20, 1, 256}, Device{0x21, 2, 65536}}) {
    std::vector<unsigned char> memory(device.size, 0);  // what the device should hold
    Write(Address(device.slave, 0, device.registerBytes), memory.size() <= 4096 ? memory : std::vector<unsigned char>());
    const std::uint32_t start = device.registerBytes == 1 ? 0xF0 : 0x12F0;  // crosses the end of a 1-byte space
    unsigned seed = 1;
    for (std::size_t length : {0u, 1u, 4u, 8u, 9u, 17u, 300u}) {
      const std::vector<unsigned char> a = Address(device.slave, start, device.registerBytes);
      const std::vector<unsigned char> data = Pattern(length, seed++);
      ASSERT_EQ(Write(a, data), 1) << Status();
      EXPECT_EQ(Status(), "No Error");
      for (std::size_t i = 0; i < length; ++i) memory[(start + i) % device.size] = data[i];
      std::vector<unsigned char> expected(length);
      for (std::size_t i = 0; i < length; ++i) expected[i] = memory[(start + i) % device.size];
      EXPECT_EQ(Read(a, length), expected) << "slave " << int(device.slave) << " length " << length;
    }
  }
}

TEST_F(RegisterAccessSim, EepromPagesAndAcknowledgePolling) {
  // Writes stay inside one 64-byte page; one read crosses several pages.
  for (std::uint32_t page = 0; page < 4; ++page) {
    ASSERT_EQ(Write(Address(0x50, 0x1000 + 64 * page, 2), Pattern(64, page)), 1) << Status();
  }
  const std::vector<unsigned char> all = Read(Address(0x50, 0x1000, 2), 256);
  for (std::uint32_t page = 0; page < 4; ++page) {
    EXPECT_EQ(std::vector<unsigned char>(all.begin() + 64 * page, all.begin() + 64 * (page + 1)), Pattern(64, page));
  }

  // With a write-cycle time the EEPROM refuses its address until the write is done.
  ASSERT_EQ(Write(Address(0x57, 0x08, 1), Pattern(8, 9)), 1) << Status();
  const unsigned char probe[1] = {0x57 << 1};
  const unsigned char none = 0;
  int attempts = 0;
  while (UrdSetLongReg(1, 0, probe, &none) == 0) {
    ASSERT_EQ(Status(), Delivered(kNoSlave));
    ASSERT_LT(++attempts, 100000);
  }
  EXPECT_EQ(Read(Address(0x57, 0x08, 1), 8), Pattern(8, 9));
}

TEST_F(RegisterAccessSim, ShortFormsUseTheBytesOfA32BitValue) {
  const std::vector<unsigned char> a = Address(0x20, 0x40, 1);
  ASSERT_EQ(UrdSetReg(2, 4, a.data(), 0x11223344u), 1) << Status();
  EXPECT_EQ(Read(a, 4), (std::vector<unsigned char>{0x44, 0x33, 0x22, 0x11}));
  ASSERT_EQ(UrdSetReg(2, 2, a.data(), 0xAABBCCDDu), 1);
  EXPECT_EQ(Read(a, 4), (std::vector<unsigned char>{0xDD, 0xCC, 0x22, 0x11}));

  std::uint32_t value = 0;
  ASSERT_EQ(UrdGetReg(2, 4, a.data(), reinterpret_cast<unsigned char*>(&value)), 1) << Status();
  unsigned char bytes[4];
  std::memcpy(bytes, &value, 4);
  EXPECT_EQ(bytes[0], 0xDD);  // the first received byte lands first in memory
  EXPECT_EQ(bytes[3], 0x11);
  ASSERT_EQ(UrdSetReg(2, 0, a.data()), 1) << Status();
}

TEST_F(RegisterAccessSim, AddressByteLowestBitIsIgnored) {
  std::vector<unsigned char> a = Address(0x20, 0x80, 1);
  ASSERT_EQ(Write(a, {0x5A}), 1);
  a.back() |= 1;
  EXPECT_EQ(Read(a, 1), (std::vector<unsigned char>{0x5A}));
}

TEST_F(RegisterAccessSim, BusFailuresLeaveTheDataAlone) {
  struct Case {
    std::uint8_t slave;
    bool write;
    std::string text;
  };
  const std::vector<Case> cases{
      {0x30, false, kNoSlave},
      {0x30, true, kNoSlave},
      {0x51, true, "The slave has acknowledged only 1 byte."},
      {0x52, false, "We have received only 1 byte from the slave."},
      {0x53, false, "The master module of the I2C board has lost the bus arbitration. At the moment the I2C bus is used by an other master."},
      {0x54, true, "A timeout has occurred during transferring a master message (SCL/SDA low for more than 500 ms)."},
      {0x55, false, "The master module has detected an I2C protocol error on the I2C bus. Due to this error the transfer has been cancelled."},
      {0x56, false, "No power supply has been connected to the I2C Vcc pin of the I2C connector (I2C Vcc = 800 mV). Please connect the power supply providing the voltage of the I2C bus to the I2C Vcc pin of the I2C board."},
  };
  for (const Case& c : cases) {
    const std::vector<unsigned char> a = Address(c.slave, 0x02, 1);
    std::vector<unsigned char> data(4, 0xEE);
    const int result = c.write ? UrdSetLongReg(2, 4, a.data(), data.data()) : UrdGetLongReg(2, 4, a.data(), data.data());
    EXPECT_EQ(result, 0) << int(c.slave);
    EXPECT_EQ(Status(), Delivered(c.text)) << int(c.slave);
    EXPECT_EQ(data, std::vector<unsigned char>(4, 0xEE)) << int(c.slave);
    // The bus and the connection are usable again right after; the Vcc drop
    // comes last, since the library then refuses until a new Vcc report.
    if (c.slave != 0x56) {
      EXPECT_EQ(Read(Address(0x20, 0, 1), 1).size(), 1u) << Status();
    }
  }
}

// Scenarios that need a bench of their own.

using RegisterAccessLowVcc = WithSimulator;

TEST_F(RegisterAccessLowVcc, RefusedBeforeAnythingIsSent) {
  const std::vector<unsigned char> a = Address(0x20, 0, 1);
  unsigned char d[1] = {0xEE};
  EXPECT_EQ(UrdGetLongReg(2, 1, a.data(), d), 0);
  EXPECT_EQ(Status(), Delivered("No power supply has been connected to the I2C Vcc pin of the I2C connector (I2C Vcc = 800 mV)."));
  EXPECT_EQ(d[0], 0xEE);
}

std::string RecordedLines() {
  const char* path = std::getenv("I2CZAVIK_SIM_RECORD");
  if (path == nullptr) return {};
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

using RegisterAccessBoardLost = WithSimulator;

TEST_F(RegisterAccessBoardLost, BoardThatStopsRespondingIsClosed) {
  const std::vector<unsigned char> a = Address(0x20, 0, 1);
  unsigned char d[1] = {0xEE};
  ASSERT_EQ(UrdGetLongReg(2, 1, a.data(), d), 1) << Status();  // the board answers one transfer
  d[0] = 0xEE;
  EXPECT_EQ(UrdGetLongReg(2, 1, a.data(), d), 0);
  EXPECT_EQ(Status(), Delivered("The opened I2C board does not respond. Maybe the I2C board has been disconnected from the PC?"));
  EXPECT_EQ(d[0], 0xEE);
  EXPECT_NE(RecordedLines().find(" 3 03000000"), std::string::npos) << "close request";
  EXPECT_EQ(UrdGetLongReg(2, 1, a.data(), d), 0);
  EXPECT_EQ(Status(), Delivered("No board has been choosen. Please, open a board and try it again."));
}

using RegisterAccessConnectionLost = WithSimulator;

TEST_F(RegisterAccessConnectionLost, SchedulerGoneMidTransfer) {
  const std::vector<unsigned char> a = Address(0x20, 0, 1);
  unsigned char d[1] = {0xEE};
  EXPECT_EQ(UrdGetLongReg(2, 1, a.data(), d), 0);
  EXPECT_EQ(Status(), "The I2C scheduler does not respond.");
  EXPECT_EQ(d[0], 0xEE);
}

}  // namespace
