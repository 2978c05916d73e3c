#include "api/exceptions.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "api/master_message.h"
#include "api/version.h"

namespace zavik::I2cApi::Cpp {
namespace {

template <typename E>
std::string CaughtText(const E& thrown) {
  try {
    throw thrown;
  } catch (const CException& e) {
    return e.GetText();
  }
  return "not caught";
}

TEST(ExceptionTexts, FixedTextsVerbatim) {
  EXPECT_EQ(CExceptionIo().GetText(), "The I2C scheduler does not respond.");
  EXPECT_EQ(CExceptionSchedulerBusy().GetText(),
            "Cannot connect to the I2C scheduler, because the scheduler is busy. The scheduler can handle only a "
            "limited number of simultaneous connections.");
  EXPECT_EQ(CExceptionOpen().GetText(), "Cannot open the specified I2C board.");
  EXPECT_EQ(CExceptionDeviceOpen().GetText(), "No board has been choosen. Please, open a board and try it again.");
  EXPECT_EQ(CExceptionHardwareIo().GetText(),
            "The opened I2C board does not respond. Maybe the I2C board has been disconnected from the PC?");
  EXPECT_EQ(CExceptionParallelPort().GetText(), "Cannot enable/disable the specified parallel port.");
  EXPECT_EQ(CExceptionMasterNotSupported().GetText(), "The hardware does not support the master mode.");
  EXPECT_EQ(CExceptionMasterRunning().GetText(), "The master module is running.");
  EXPECT_EQ(CExceptionMasterInvalidBitrate().GetText(), "The specified bitrate is not valid.");
  EXPECT_EQ(CExceptionMasterInvalidTransfer().GetText(),
            "The used I2C board does not support the specified I2C transfer (e.g. the board does not support all "
            "possible combinations of combined transfers).");
  EXPECT_EQ(CExceptionMasterAddress().GetText(), "There is no slave responsible for this I2C address.");
  EXPECT_EQ(CExceptionMasterArbitration().GetText(),
            "The master module of the I2C board has lost the bus arbitration. At the moment the I2C bus is used by "
            "an other master.");
  EXPECT_EQ(CExceptionMasterTimeout().GetText(),
            "A timeout has occurred during transferring a master message (SCL/SDA low for more than 500 ms).");
  EXPECT_EQ(CExceptionMasterI2cProtocol().GetText(),
            "The master module has detected an I2C protocol error on the I2C bus. Due to this error the transfer "
            "has been cancelled.");
}

TEST(ExceptionTexts, SchedulerVersionWritesInstalledTripleAndSupportedMajorMinor) {
  EXPECT_EQ(CExceptionSchedulerVersion(Version{1, 5, 3}, Version{1, 6, 0}).GetText(),
            "Wrong version of the I2C scheduler. The installed I2C scheduler has got the version number 1.5.3, but "
            "the installed I2C API supports only I2C schedulers with a version number of 1.6.x.");
  // Bytes are numbers: 255 is three digits, never a character.
  const std::string text = CExceptionSchedulerVersion(Version{255, 255, 255}, Version{1, 6, 9}).GetText();
  EXPECT_NE(text.find("version number 255.255.255, but"), std::string::npos) << text;
  EXPECT_NE(text.find("version number of 1.6.x."), std::string::npos) << text;
}

TEST(ExceptionTexts, DriverVersionNamesTheComponentTwice) {
  EXPECT_EQ(CExceptionDriverVersion("firmware", Version{1, 2, 3}, Version{1, 2, 4}).GetText(),
            "Wrong version of the board's firmware. The installed firmware has got the version number 1.2.3, but at "
            "least version 1.2.4 is needed. Please update the installed board's driver.");
  EXPECT_EQ(CExceptionDriverVersion("FPGA configuration", Version{0, 0, 255}, Version{255, 0, 10}).GetText(),
            "Wrong version of the board's FPGA configuration. The installed FPGA configuration has got the version "
            "number 0.0.255, but at least version 255.0.10 is needed. Please update the installed board's driver.");
}

TEST(ExceptionTexts, I2cVccWritesMillivolts) {
  EXPECT_EQ(CExceptionI2cVcc(0).GetText(),
            "No power supply has been connected to the I2C Vcc pin of the I2C connector (I2C Vcc = 0 mV). Please "
            "connect the power supply providing the voltage of the I2C bus to the I2C Vcc pin of the I2C board.");
  EXPECT_NE(CExceptionI2cVcc(65535).GetText().find("(I2C Vcc = 65535 mV)"), std::string::npos);
}

TEST(ExceptionTexts, I2cAddressQuotesTheValueAndNamesTheWidth) {
  EXPECT_EQ(CExceptionI2cAddress(300, false).GetText(), "The value \"300\" is not a valid 7 bit I2C address.");
  EXPECT_EQ(CExceptionI2cAddress(300, true).GetText(), "The value \"300\" is not a valid 10 bit I2C address.");
}

TEST(ExceptionTexts, IncompleteTransfersCountTheBytes) {
  const std::vector<std::pair<std::uint32_t, std::string>> counts{
      {0, "not acknowledged any bytes"}, {1, "acknowledged only 1 byte"}, {2, "acknowledged only 2 bytes"},
      {3, "acknowledged only 3 bytes"}, {4294967295u, "acknowledged only 4294967295 bytes"}};
  CMasterMessageTx write;
  CMasterMessageRx read;
  read.SetRequestedCount(5);
  for (const auto& [count, words] : counts) {
    write.SetAcknowledgedCount(count);
    EXPECT_EQ(CExceptionMasterIncompleteTx(write).GetText(), "The slave has " + words + ".");
    if (count > 3) continue;
    read.GetData().assign(count, 0x11);
    const std::string received = count == 0 ? "no bytes" : words.substr(words.find("only"));
    EXPECT_EQ(CExceptionMasterIncompleteRx(read).GetText(), "We have received " + received + " from the slave.");
  }
}

TEST(ExceptionTree, EveryClassIsCaughtAsCExceptionWithItsText) {
  EXPECT_EQ(CaughtText(CExceptionIo()), CExceptionIo().GetText());
  EXPECT_EQ(CaughtText(CExceptionMasterTimeout()), CExceptionMasterTimeout().GetText());
  EXPECT_EQ(CaughtText(CExceptionI2cAddress(128, false)), "The value \"128\" is not a valid 7 bit I2C address.");
  try {
    throw CExceptionMasterArbitration();
  } catch (const CExceptionMaster& e) {
    EXPECT_EQ(e.GetText(), CExceptionMasterArbitration().GetText());
  }
  static_assert(std::is_base_of_v<CExceptionMaster, CExceptionMasterIncompleteRx>);
  static_assert(!std::is_base_of_v<CExceptionMaster, CExceptionI2cVcc>);
  static_assert(!std::is_default_constructible_v<CExceptionMaster>);
}

TEST(ExceptionTree, CopiesKeepTheText) {
  const CExceptionDriverVersion original("driver", Version{2, 0, 0}, Version{2, 0, 1});
  const CExceptionDriverVersion copy(original);
  EXPECT_EQ(copy.GetText(), original.GetText());
  CExceptionDriverVersion assigned("firmware", Version{}, Version{});
  assigned = original;
  EXPECT_EQ(assigned.GetText(), original.GetText());
}

}  // namespace
}  // namespace zavik::I2cApi::Cpp
