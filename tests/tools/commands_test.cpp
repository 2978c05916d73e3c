// The commands against a scripted library: which exports they call with
// which arguments, and what reaches the user on success and failure.
#include <gtest/gtest.h>

#include <sstream>

#include "bus_scanner.h"
#include "commands.h"
#include "fake_library.h"
#include "library_text.h"
#include "register_session.h"

namespace zavik::I2cTool {
namespace {

using Testing::Fake;
using Testing::SlaveOf;

class CommandsTest : public ::testing::Test {
 protected:
  void SetUp() override { Testing::ResetFake(); }

  int Run(std::vector<std::string> args) {
    out_.str("");
    err_.str("");
    ParseOutcome parsed = ParseCommandLine(args);
    EXPECT_TRUE(parsed.commandLine) << parsed.error;
    if (!parsed.commandLine) return -1;
    UrdApi api = Testing::FakeApi();
    return RunCommand(api, *parsed.commandLine, out_, err_);
  }

  std::string Out() const { return out_.str(); }
  std::string Err() const { return err_.str(); }

 private:
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST(AddressArray, RegisterLeastSignificantFirstThenShiftedSlave) {
  EXPECT_EQ(AddressArray(0x50, 0x0210, 2), (std::vector<std::uint8_t>{0x10, 0x02, 0xA0}));
  EXPECT_EQ(AddressArray(0x7F, 0x99, 0), (std::vector<std::uint8_t>{0xFE}));
  EXPECT_EQ(AddressArray(0x20, 0x0123456789ABCDull, 7),
            (std::vector<std::uint8_t>{0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01, 0x40}));
}

TEST(LibraryTextMatch, RecognisesTextsCutByTheStatusBuffer) {
  std::string cut(LibraryText::kUnsupportedTransfer.substr(0, 49));
  EXPECT_TRUE(IsLibraryText(cut, LibraryText::kUnsupportedTransfer));
  EXPECT_FALSE(IsLibraryText(cut.substr(0, 48), LibraryText::kUnsupportedTransfer));
  EXPECT_FALSE(IsLibraryText("", LibraryText::kNoSlave));
  EXPECT_TRUE(IsLibraryText("No Error", "No Error"));
}

TEST_F(CommandsTest, ScanProbesOnlyUsableAddressesWithEmptyWrites) {
  Fake().slaves[0x08];
  Fake().slaves[0x50];
  Fake().slaves[0x77];
  ASSERT_EQ(Run({"scan"}), kExitSuccess) << Err();
  ASSERT_EQ(Fake().calls.size(), 0x77u - 0x08u + 1u);
  for (std::size_t i = 0; i < Fake().calls.size(); ++i) {
    const Testing::RegisterCall& call = Fake().calls[i];
    EXPECT_TRUE(call.isWrite);
    EXPECT_EQ(call.address.size(), 1u);
    EXPECT_EQ(call.dataCount, 0);
    EXPECT_FALSE(call.dataPointerNull);
    EXPECT_EQ(SlaveOf(call), 0x08 + i);
  }
  EXPECT_EQ(Fake().opens, 1);
  EXPECT_EQ(Fake().closes, 1);
  EXPECT_NE(Out().find("00:             RR RR RR RR 08 --"), std::string::npos) << Out();
  EXPECT_NE(Out().find("50: 50 --"), std::string::npos);
  EXPECT_NE(Out().find("70: -- -- -- -- -- -- -- 77 RR RR RR RR\n"), std::string::npos);
  EXPECT_NE(Out().find("RR reserved"), std::string::npos);
}

TEST_F(CommandsTest, ScanFallsBackToOneByteReadsWhenEmptyWritesAreRefused) {
  Fake().refuseEmptyWrite = true;
  Fake().slaves[0x08];  // the very address that reveals the refusal must still be found
  Fake().slaves[0x48];
  ASSERT_EQ(Run({"scan"}), kExitSuccess) << Err();
  ASSERT_GE(Fake().calls.size(), 2u);
  EXPECT_TRUE(Fake().calls[0].isWrite);
  for (std::size_t i = 1; i < Fake().calls.size(); ++i) {
    EXPECT_FALSE(Fake().calls[i].isWrite) << i;
    EXPECT_EQ(Fake().calls[i].dataCount, 1);
    EXPECT_EQ(Fake().calls[i].address.size(), 1u);
  }
  EXPECT_EQ(SlaveOf(Fake().calls[1]), 0x08);
  EXPECT_NE(Out().find("00:             RR RR RR RR 08 --"), std::string::npos) << Out();
  EXPECT_NE(Out().find("40: -- -- -- -- -- -- -- -- 48 --"), std::string::npos);
  EXPECT_NE(Out().find("1-byte reads"), std::string::npos);
}

TEST_F(CommandsTest, ScanCountsAShortReadAsAnAnswer) {
  Fake().refuseEmptyWrite = true;
  Fake().failAt[0x30] = "We have received no bytes from the slave.";
  ASSERT_EQ(Run({"scan"}), kExitSuccess) << Err();
  EXPECT_NE(Out().find("30: 30 --"), std::string::npos) << Out();
}

TEST_F(CommandsTest, ScanStopsAtAFailureOtherThanSilence) {
  Fake().failAt[0x10] = "The I2C scheduler does not respond.";
  EXPECT_EQ(Run({"scan"}), kExitFailure);
  EXPECT_EQ(Err(), "i2czavik: The I2C scheduler does not respond.\n");
  EXPECT_EQ(Out(), "");
  EXPECT_EQ(SlaveOf(Fake().calls.back()), 0x10);
  EXPECT_EQ(Fake().closes, 1);
}

TEST_F(CommandsTest, FailedReadReportsItsOwnTextNotTheClosingOne) {
  ASSERT_EQ(Run({"get", "0x51", "0"}), kExitFailure);
  // Closing succeeds afterwards and sets "No Error"; the read's text must win.
  EXPECT_EQ(Err(), "i2czavik: " + std::string(LibraryText::kNoSlave.substr(0, 49)) + "\n");
  EXPECT_EQ(Out(), "");
  EXPECT_EQ(Fake().closes, 1);
}

TEST_F(CommandsTest, FailedOpenStillClosesAndReportsTheOpenText) {
  Fake().openFailure = "No I2C board has been found.";
  EXPECT_EQ(Run({"get", "0x50", "0"}), kExitFailure);
  EXPECT_EQ(Err(), "i2czavik: No I2C board has been found.\n");
  EXPECT_TRUE(Fake().calls.empty());
  EXPECT_EQ(Fake().closes, 1);
}

TEST_F(CommandsTest, FailedCloseFailsTheCommand) {
  Fake().slaves[0x20];
  Fake().closeFailure = "The I2C scheduler does not respond.";
  EXPECT_EQ(Run({"set", "0x20", "1", "2"}), kExitFailure);
  EXPECT_EQ(Err(), "i2czavik: The I2C scheduler does not respond.\n");
}

TEST_F(CommandsTest, DumpReadsInChunksFromTheStart) {
  for (unsigned reg = 0; reg < 0x100; ++reg) Fake().slaves[0x50][reg] = static_cast<std::uint8_t>(reg);
  ASSERT_EQ(Run({"dump", "-l", "70", "0x50", "0x10"}), kExitSuccess) << Err();
  ASSERT_EQ(Fake().calls.size(), 3u);
  EXPECT_EQ(Fake().calls[0].address, (std::vector<std::uint8_t>{0x10, 0xA0}));
  EXPECT_EQ(Fake().calls[0].dataCount, static_cast<int>(kDumpChunkSize));
  EXPECT_EQ(Fake().calls[1].address, (std::vector<std::uint8_t>{0x30, 0xA0}));
  EXPECT_EQ(Fake().calls[2].address, (std::vector<std::uint8_t>{0x50, 0xA0}));
  EXPECT_EQ(Fake().calls[2].dataCount, 70 - 2 * static_cast<int>(kDumpChunkSize));
  EXPECT_NE(Out().find("\n10: 10 11 12 13"), std::string::npos) << Out();
  // 0x50-0x55 and nothing after them: ten blank cells, then the ASCII column.
  EXPECT_NE(Out().find("\n50: 50 51 52 53 54 55" + std::string(1 + 30 + 3, ' ') + "PQRSTU\n"), std::string::npos)
      << Out();
  EXPECT_EQ(Out().find("\n00:"), std::string::npos);
}

TEST_F(CommandsTest, DumpStopsAtTheFirstFailedChunk) {
  Fake().failAt[0x50] = "We have received only 3 bytes from the slave.";
  EXPECT_EQ(Run({"dump", "0x50"}), kExitFailure);
  EXPECT_EQ(Fake().calls.size(), 1u);
  EXPECT_EQ(Err(), "i2czavik: We have received only 3 bytes from the slave.\n");
  EXPECT_EQ(Out(), "");
}

TEST_F(CommandsTest, CapsOpensQueriesAndClosesADevice) {
  for (unsigned i = 0; i < 11; ++i) Fake().caps.word[i] = i;
  Fake().caps.word[I2CZAVIK_CAPS_MAX_BITRATE] = 400000;
  Fake().caps.word[I2CZAVIK_CAPS_HIGH_SPEED_BITRATE] = 3400000;
  Fake().caps.word[I2CZAVIK_CAPS_BOARD_TYPE_2] = 1;
  ASSERT_EQ(Run({"caps"}), kExitSuccess) << Err();
  EXPECT_EQ(Fake().deviceCommands,
            (std::vector<std::uint32_t>{I2CZAVIK_CMD_OPEN, I2CZAVIK_CMD_HARDWARE_CAPS, I2CZAVIK_CMD_CLOSE}));
  EXPECT_EQ(Fake().liveContexts, 0);
  EXPECT_NE(Out().find("   1  0x00061a80  400000      max bitrate (Hz)"), std::string::npos) << Out();
  EXPECT_NE(Out().find("   2  0x0033e140  3400000     high-speed bitrate"), std::string::npos) << Out();
  EXPECT_NE(Out().find("board type 2: yes"), std::string::npos);
  EXPECT_NE(Out().find("  10  0x0000000a  10"), std::string::npos);
  EXPECT_EQ(Fake().opens, 0);  // the command-code interface only
}

TEST_F(CommandsTest, CapsFailureReportsTheDeviceErrorTextAndClosesTheContext) {
  Fake().deviceOpenStatus = I2CZAVIK_STATUS_OPEN_FAILED;
  Fake().deviceOpenError = "The I2C scheduler does not respond.";
  EXPECT_EQ(Run({"caps"}), kExitFailure);
  EXPECT_EQ(Err(), "i2czavik: The I2C scheduler does not respond.\n");
  EXPECT_EQ(Fake().deviceCommands,
            (std::vector<std::uint32_t>{I2CZAVIK_CMD_OPEN, I2CZAVIK_CMD_ERROR_TEXT, I2CZAVIK_CMD_CLOSE}));
  EXPECT_EQ(Fake().liveContexts, 0);
}

}  // namespace
}  // namespace zavik::I2cTool
