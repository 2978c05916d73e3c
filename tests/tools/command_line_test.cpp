// Command-line parsing: numbers, operands, options and their limits.
#include <gtest/gtest.h>

#include "command_line.h"
#include "number_parser.h"

namespace zavik::I2cTool {
namespace {

TEST(NumberParser, HexWithPrefixOrDecimalAndNothingElse) {
  EXPECT_EQ(ParseNumber("0x1F"), 0x1Fu);
  EXPECT_EQ(ParseNumber("0Xab"), 0xABu);
  EXPECT_EQ(ParseNumber("010"), 10u);  // a leading zero is not octal
  EXPECT_EQ(ParseNumber("18446744073709551615"), 18446744073709551615ull);
  EXPECT_EQ(ParseNumber("0xffffffffffffffff"), 0xffffffffffffffffull);
  for (const char* text : {"", "0x", "-1", "+1", "12a", "0x1g", " 1", "1 ", "ff", "18446744073709551616",
                           "0x10000000000000000"}) {
    EXPECT_FALSE(ParseNumber(text).has_value()) << text;
  }
}

TEST(CommandLine, AcceptedLinesAndWhatTheyMean) {
  const struct {
    std::vector<std::string> args;
    Command command;
    unsigned width;
    std::uint32_t count;  // get -n, or dump -l
    std::uint64_t reg;
  } cases[] = {
      {{}, Command::Help, 1, 1, 0},
      {{"get", "0x50", "--help"}, Command::Help, 1, 1, 0},
      {{"bogus", "-h"}, Command::Help, 1, 1, 0},
      {{"get", "0x48", "0"}, Command::Get, 1, 1, 0},
      {{"get", "0x50", "0x0210", "-r", "2", "-n4"}, Command::Get, 2, 4, 0x0210},  // options anywhere
      {{"get", "-r", "0", "-n", "2", "0x48"}, Command::Get, 0, 2, 0},             // width 0: no register
      {{"get", "-n", "65536", "0x7f", "0xff"}, Command::Get, 1, 65536, 0xff},
      {{"get", "-r", "7", "0", "0xffffffffffffff"}, Command::Get, 7, 1, 0xffffffffffffff},
      {{"dump", "0x50"}, Command::Dump, 1, 256, 0},
      {{"dump", "-l", "16", "0x50", "0xf0"}, Command::Dump, 1, 16, 0xf0},  // ends at 0xff
      {{"dump", "-r", "2", "-l", "65536", "0x50"}, Command::Dump, 2, 65536, 0},
      {{"dump", "-r", "0", "-l", "300", "0x50"}, Command::Dump, 0, 300, 0},  // no register range to leave
  };
  for (const auto& c : cases) {
    const ParseOutcome outcome = ParseCommandLine(c.args);
    ASSERT_TRUE(outcome.commandLine) << outcome.error;
    const CommandLine& line = *outcome.commandLine;
    EXPECT_EQ(line.command, c.command);
    if (c.command == Command::Help) continue;
    EXPECT_EQ(line.registerWidth, c.width);
    EXPECT_EQ(c.command == Command::Dump ? line.length : line.count, c.count);
    EXPECT_EQ(line.registerAddress, c.reg);
  }
  const ParseOutcome set = ParseCommandLine({"set", "-r", "0", "0x48", "0x12", "255", "0"});
  ASSERT_TRUE(set.commandLine) << set.error;
  EXPECT_EQ(set.commandLine->data, (std::vector<std::uint8_t>{0x12, 0xFF, 0x00}));
}

TEST(CommandLine, RefusedLinesSayWhatIsWrong) {
  const struct {
    std::vector<std::string> args;
    const char* error;  // a part of the message
  } cases[] = {
      {{"probe"}, "unknown command 'probe'"},
      {{"get", "-x", "1", "0x50", "0"}, "unknown option -x"},
      {{"set", "-n", "2", "0x50", "0", "1"}, "unknown option -n"},
      {{"get", "0x50", "0", "-n"}, "needs a value"},
      {{"get", "0x80", "0"}, "ADDRESS '0x80'"},
      {{"get", "--", "-1", "0"}, "ADDRESS '-1'"},  // after "--" an operand, and an invalid one
      {{"set", "0x20", "0x10", "256"}, "BYTE '256'"},
      {{"scan", "0x50"}, ""},
      {{"caps", "extra"}, ""},
      {{"get", "-r", "1", "0x20", "0x100"}, ""},
      {{"get", "-r", "7", "0x20", "0x100000000000000"}, ""},
      {{"get", "-r", "8", "0x20", "0"}, ""},
      {{"get", "-r", "0", "0x48", "0"}, ""},
      {{"get", "-n", "0", "0x50", "0"}, ""},
      {{"get", "-n", "65537", "0x50", "0"}, ""},
      {{"set", "0x20", "0x10"}, ""},
      {{"dump", "-r", "0", "0x48", "0"}, ""},
      {{"dump", "-l", "17", "0x50", "0xf0"}, ""},  // would reach 0x100
      {{"dump", "-l", "0", "0x50"}, ""},
  };
  for (const auto& c : cases) {
    const ParseOutcome outcome = ParseCommandLine(c.args);
    EXPECT_FALSE(outcome.commandLine) << c.args[0] << " " << c.args.back();
    EXPECT_FALSE(outcome.error.empty());
    EXPECT_NE(outcome.error.find(c.error), std::string::npos) << outcome.error;
  }
}

}  // namespace
}  // namespace zavik::I2cTool
