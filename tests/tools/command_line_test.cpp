// Command-line parsing: numbers, operands, options and their limits.
#include <gtest/gtest.h>

#include "command_line.h"
#include "number_parser.h"

namespace zavik::I2cTool {
namespace {

ParseOutcome Parse(std::vector<std::string> args) { return ParseCommandLine(args); }

TEST(NumberParser, AcceptsHexWithPrefixAndDecimal) {
  EXPECT_EQ(ParseNumber("0x1F"), 0x1Fu);
  EXPECT_EQ(ParseNumber("0Xab"), 0xABu);
  EXPECT_EQ(ParseNumber("010"), 10u);  // a leading zero is not octal
  EXPECT_EQ(ParseNumber("0"), 0u);
  EXPECT_EQ(ParseNumber("18446744073709551615"), 18446744073709551615ull);
  EXPECT_EQ(ParseNumber("0xffffffffffffffff"), 0xffffffffffffffffull);
}

TEST(NumberParser, RejectsMalformedAndOverflowingText) {
  for (const char* text : {"", "0x", "-1", "+1", "12a", "0x1g", " 1", "1 ", "ff", "18446744073709551616",
                           "0x10000000000000000"}) {
    EXPECT_FALSE(ParseNumber(text).has_value()) << text;
  }
}

TEST(CommandLine, NoArgumentsOrHelpAnywhereGiveHelp) {
  for (auto args : std::vector<std::vector<std::string>>{{}, {"-h"}, {"--help"}, {"help"}, {"get", "0x50", "--help"},
                                                          {"bogus", "-h"}}) {
    ParseOutcome outcome = Parse(args);
    ASSERT_TRUE(outcome.commandLine.has_value());
    EXPECT_EQ(outcome.commandLine->command, Command::Help);
  }
}

TEST(CommandLine, UnknownCommandAndOptionAreErrors) {
  EXPECT_NE(Parse({"probe"}).error.find("unknown command 'probe'"), std::string::npos);
  EXPECT_NE(Parse({"get", "-x", "1", "0x50", "0"}).error.find("unknown option -x"), std::string::npos);
  EXPECT_NE(Parse({"set", "-n", "2", "0x50", "0", "1"}).error.find("unknown option -n"), std::string::npos);
  EXPECT_NE(Parse({"get", "0x50", "0", "-n"}).error.find("needs a value"), std::string::npos);
  EXPECT_FALSE(Parse({"scan", "0x50"}).commandLine.has_value());
  EXPECT_FALSE(Parse({"caps", "extra"}).commandLine.has_value());
}

TEST(CommandLine, GetDefaultsAndOptionsInAnyPosition) {
  ParseOutcome plain = Parse({"get", "0x48", "0"});
  ASSERT_TRUE(plain.commandLine) << plain.error;
  EXPECT_EQ(plain.commandLine->command, Command::Get);
  EXPECT_EQ(plain.commandLine->address, 0x48);
  EXPECT_EQ(plain.commandLine->registerWidth, 1u);
  EXPECT_EQ(plain.commandLine->count, 1u);

  ParseOutcome after = Parse({"get", "0x50", "0x0210", "-r", "2", "-n4"});
  ASSERT_TRUE(after.commandLine) << after.error;
  EXPECT_EQ(after.commandLine->registerWidth, 2u);
  EXPECT_EQ(after.commandLine->count, 4u);
  EXPECT_EQ(after.commandLine->registerAddress, 0x0210u);
}

TEST(CommandLine, AddressMustBeSevenBit) {
  EXPECT_TRUE(Parse({"get", "0x7f", "0"}).commandLine);
  EXPECT_TRUE(Parse({"get", "0", "0"}).commandLine);
  EXPECT_NE(Parse({"get", "0x80", "0"}).error.find("ADDRESS '0x80'"), std::string::npos);
}

TEST(CommandLine, RegisterWidthBoundsTheRegister) {
  EXPECT_TRUE(Parse({"get", "-r", "1", "0x20", "0xff"}).commandLine);
  EXPECT_FALSE(Parse({"get", "-r", "1", "0x20", "0x100"}).commandLine);
  EXPECT_TRUE(Parse({"get", "-r", "7", "0x20", "0xffffffffffffff"}).commandLine);
  EXPECT_FALSE(Parse({"get", "-r", "7", "0x20", "0x100000000000000"}).commandLine);
  EXPECT_FALSE(Parse({"get", "-r", "8", "0x20", "0"}).commandLine);
}

TEST(CommandLine, WidthZeroTakesNoRegister) {
  ParseOutcome get = Parse({"get", "-r", "0", "-n", "2", "0x48"});
  ASSERT_TRUE(get.commandLine) << get.error;
  EXPECT_EQ(get.commandLine->registerWidth, 0u);
  EXPECT_FALSE(Parse({"get", "-r", "0", "0x48", "0"}).commandLine);

  ParseOutcome set = Parse({"set", "-r", "0", "0x48", "1", "2"});
  ASSERT_TRUE(set.commandLine) << set.error;
  EXPECT_EQ(set.commandLine->data, (std::vector<std::uint8_t>{1, 2}));
  EXPECT_FALSE(Parse({"dump", "-r", "0", "0x48", "0"}).commandLine);
}

TEST(CommandLine, CountLimits) {
  EXPECT_FALSE(Parse({"get", "-n", "0", "0x50", "0"}).commandLine);
  EXPECT_TRUE(Parse({"get", "-n", "65536", "0x50", "0"}).commandLine);
  EXPECT_FALSE(Parse({"get", "-n", "65537", "0x50", "0"}).commandLine);
}

TEST(CommandLine, SetNeedsBytesThatFitInAByte) {
  ParseOutcome set = Parse({"set", "0x20", "0x10", "0x12", "255", "0"});
  ASSERT_TRUE(set.commandLine) << set.error;
  EXPECT_EQ(set.commandLine->registerAddress, 0x10u);
  EXPECT_EQ(set.commandLine->data, (std::vector<std::uint8_t>{0x12, 0xFF, 0x00}));
  EXPECT_FALSE(Parse({"set", "0x20", "0x10"}).commandLine);
  EXPECT_NE(Parse({"set", "0x20", "0x10", "256"}).error.find("BYTE '256'"), std::string::npos);
}

TEST(CommandLine, DumpRangeMustStayInsideTheRegisterWidth) {
  ParseOutcome full = Parse({"dump", "0x50"});
  ASSERT_TRUE(full.commandLine) << full.error;
  EXPECT_EQ(full.commandLine->length, 256u);
  EXPECT_EQ(full.commandLine->registerAddress, 0u);
  EXPECT_TRUE(Parse({"dump", "-l", "16", "0x50", "0xf0"}).commandLine);   // ends at 0xff
  EXPECT_FALSE(Parse({"dump", "-l", "17", "0x50", "0xf0"}).commandLine);  // would reach 0x100
  EXPECT_TRUE(Parse({"dump", "-r", "2", "-l", "65536", "0x50"}).commandLine);
  EXPECT_FALSE(Parse({"dump", "-l", "0", "0x50"}).commandLine);
  EXPECT_TRUE(Parse({"dump", "-r", "0", "-l", "300", "0x50"}).commandLine);  // no register range to leave
}

TEST(CommandLine, DoubleDashEndsOptions) {
  // After "--" a word starting with '-' is an operand, and an invalid one here.
  ParseOutcome outcome = Parse({"get", "--", "-1", "0"});
  EXPECT_NE(outcome.error.find("ADDRESS '-1'"), std::string::npos) << outcome.error;
}

}  // namespace
}  // namespace zavik::I2cTool
