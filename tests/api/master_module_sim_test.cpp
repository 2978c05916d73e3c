// The master module against the simulator (run under the harness, which sets
// I2CZAVIK_SIM_PORT): the paths the register exports never take, 10-bit
// addresses and high-speed mode, on a real bus model.

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "api/board_client.h"
#include "api/exceptions.h"
#include "api/master_module.h"

namespace zavik::I2cApi {
namespace {

using namespace Cpp;

class MasterModuleSim : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* port = std::getenv("I2CZAVIK_SIM_PORT");
    if (port == nullptr) GTEST_SKIP() << "needs the simulator harness";
    client_ = std::make_unique<CBoardClient>(static_cast<std::uint16_t>(std::atoi(port)));
    std::vector<BoardInfo> boards;
    client_->EnumerateBoards(boards);
    ASSERT_FALSE(boards.empty());
    client_->OpenBoard(boards[0]);
  }
  CMasterModule& Master() { return *client_->GetMasterModule(); }

  std::unique_ptr<CBoardClient> client_;
};

CMasterMessageRx ReadOf(std::uint32_t count, CI2cAddress address) {
  CMasterMessageRx read;
  read.SetAddress(address);
  read.SetRequestedCount(count);
  return read;
}

TEST_F(MasterModuleSim, TenBitRegistersWithAndWithoutTheInsertedWrite) {
  const CI2cAddress slave(0x2A5, true);  // register file, 1-byte register address
  CMasterMessageTx setPointer(slave, {0x01});
  CMasterMessageRx read = ReadOf(3, slave);
  Master().Transfer({&setPointer, &read});
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{34, 51, 68}));

  CMasterMessageTx write(slave, {0x08, 0xA1, 0xA2});
  Master().TransferOne(write);
  EXPECT_EQ(write.GetTransferredCount(), 3u);
  CMasterMessageTx pointerOnly(slave, {0x08});
  Master().TransferOne(pointerOnly);
  // A read alone gets an address-only write in front, which leaves the
  // device's register pointer where the last write put it.
  CMasterMessageRx alone = ReadOf(2, slave);
  Master().TransferOne(alone);
  EXPECT_EQ(alone.GetData(), (std::vector<std::uint8_t>{0xA1, 0xA2}));

  CMasterMessageRx absent = ReadOf(1, CI2cAddress(0x2A6, true));
  EXPECT_THROW(Master().TransferOne(absent), CExceptionMasterAddress);
  EXPECT_FALSE(Master().IsRunning());
}

TEST_F(MasterModuleSim, HighSpeedModeBehindTheMasterCode) {
  Master().SetBitrate(400000);
  Master().SetHighSpeedBitrate(3400000);
  const CI2cAddress eeprom(0x50, false);
  CMasterMessageTx write(eeprom, {0x02, 0x00, 0x5A, 0xA5});
  Master().TransferOne(write);
  EXPECT_EQ(write.GetTransferredCount(), 4u);
  CMasterMessageTx pointer(eeprom, {0x02, 0x00});
  CMasterMessageRx read = ReadOf(2, eeprom);
  Master().Transfer({&pointer, &read});
  EXPECT_EQ(read.GetData(), (std::vector<std::uint8_t>{0x5A, 0xA5}));
  EXPECT_THROW(Master().SetBitrate(123456), CExceptionMasterInvalidBitrate);
}

}  // namespace
}  // namespace zavik::I2cApi
