// The tool's command line: one command word, its options and its operands,
// checked completely before any bus traffic starts.
#ifndef I2CZAVIK_TOOL_COMMAND_LINE_H
#define I2CZAVIK_TOOL_COMMAND_LINE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zavik::I2cTool {

enum class Command { Help, Scan, Get, Set, Dump, Caps };

// Largest register address width the address array leaves room for: eight
// bytes, the last of which is the slave's address byte.
constexpr unsigned kMaxRegisterWidth = 7;
constexpr std::uint64_t kMaxTransferLength = 65536;

struct CommandLine {
  Command command = Command::Help;
  unsigned registerWidth = 1;          // -r: register address bytes, 0..7
  std::uint32_t count = 1;             // get -n: bytes to read
  std::uint32_t length = 256;          // dump -l: bytes to show
  std::uint8_t address = 0;            // 7-bit slave address
  std::uint64_t registerAddress = 0;   // get/set REGISTER, dump START
  std::vector<std::uint8_t> data;      // set BYTE...
};

struct ParseOutcome {
  std::optional<CommandLine> commandLine;  // set when the arguments are usable
  std::string error;                       // otherwise: what is wrong, for the user
};

// `args` are the arguments after the program name.
ParseOutcome ParseCommandLine(const std::vector<std::string>& args);

// Largest register address that `width` bytes can hold.
std::uint64_t MaxRegisterAddress(unsigned width);

}  // namespace zavik::I2cTool

#endif
