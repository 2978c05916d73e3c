#include "command_line.h"

#include <map>

#include "number_parser.h"

namespace zavik::I2cTool {

namespace {

struct CommandSyntax {
  Command command;
  std::string options;  // option letters that take a number
};

const std::map<std::string, CommandSyntax>& Commands() {
  static const std::map<std::string, CommandSyntax> commands = {
      {"scan", {Command::Scan, ""}}, {"get", {Command::Get, "rn"}}, {"set", {Command::Set, "r"}},
      {"dump", {Command::Dump, "rl"}}, {"caps", {Command::Caps, ""}},
  };
  return commands;
}

bool IsHelpOption(const std::string& arg) { return arg == "-h" || arg == "--help"; }

// Splits the words after the command into option values and operands.
// Options take a number, written as "-r 2" or "-r2"; "--" ends them.
struct SplitWords {
  std::map<char, std::string> options;
  std::vector<std::string> operands;
  std::string error;
};

SplitWords Split(const std::string& name, const CommandSyntax& syntax, const std::vector<std::string>& words) {
  SplitWords split;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (optionsEnded || word.size() < 2 || word[0] != '-') {
      split.operands.push_back(word);
      continue;
    }
    if (word == "--") {
      optionsEnded = true;
      continue;
    }
    char letter = word[1];
    if (syntax.options.find(letter) == std::string::npos) {
      split.error = name + ": unknown option " + word;
      return split;
    }
    if (word.size() > 2) {
      split.options[letter] = word.substr(2);
    } else if (i + 1 < words.size()) {
      split.options[letter] = words[++i];
    } else {
      split.error = name + ": option -" + std::string(1, letter) + " needs a value";
      return split;
    }
  }
  return split;
}

class Parser {
 public:
  Parser(std::string name, SplitWords words) : name_(std::move(name)), words_(std::move(words)) {}

  bool Failed() const { return !error_.empty(); }
  const std::string& Error() const { return error_; }
  std::size_t OperandCount() const { return words_.operands.size(); }

  // Reads option `letter` into `target` when it is given.
  template <typename T>
  void Option(char letter, const char* what, std::uint64_t min, std::uint64_t max, T& target) {
    auto found = words_.options.find(letter);
    if (Failed() || found == words_.options.end()) return;
    Number(found->second, what, min, max, target);
  }

  template <typename T>
  void Operand(std::size_t index, const char* what, std::uint64_t min, std::uint64_t max, T& target) {
    if (Failed()) return;
    Number(words_.operands.at(index), what, min, max, target);
  }

  void Fail(const std::string& message) {
    if (!Failed()) error_ = name_ + ": " + message;
  }

 private:
  template <typename T>
  void Number(const std::string& text, const char* what, std::uint64_t min, std::uint64_t max, T& target) {
    std::optional<std::uint64_t> value = ParseNumberInRange(text, min, max);
    if (!value) {
      Fail(std::string(what) + " '" + text + "' is not a number in " + RangeText(min, max));
      return;
    }
    target = static_cast<T>(*value);
  }

  static std::string Hex(std::uint64_t value) {
    static const char* digits = "0123456789abcdef";
    std::string text;
    do {
      text.insert(text.begin(), digits[value & 0xF]);
      value >>= 4;
    } while (value != 0);
    return "0x" + text;
  }

  static std::string RangeText(std::uint64_t min, std::uint64_t max) { return Hex(min) + ".." + Hex(max); }

  std::string name_;
  SplitWords words_;
  std::string error_;
};

void ParseAddressAndRegister(Parser& parser, CommandLine& line) {
  parser.Operand(0, "ADDRESS", 0, 0x7F, line.address);
  if (line.registerWidth > 0) {
    parser.Operand(1, "REGISTER", 0, MaxRegisterAddress(line.registerWidth), line.registerAddress);
  }
}

void ParseGet(Parser& parser, CommandLine& line) {
  parser.Option('n', "COUNT", 1, kMaxTransferLength, line.count);
  std::size_t expected = line.registerWidth > 0 ? 2 : 1;
  if (parser.OperandCount() != expected) {
    parser.Fail(line.registerWidth > 0 ? "expected ADDRESS REGISTER" : "expected ADDRESS (no REGISTER with -r 0)");
  }
  ParseAddressAndRegister(parser, line);
}

void ParseSet(Parser& parser, CommandLine& line, const std::vector<std::string>& operands) {
  std::size_t first = line.registerWidth > 0 ? 2 : 1;
  if (operands.size() <= first) {
    parser.Fail(line.registerWidth > 0 ? "expected ADDRESS REGISTER BYTE..." : "expected ADDRESS BYTE...");
  } else if (operands.size() - first > kMaxTransferLength) {
    parser.Fail("too many bytes");
  }
  ParseAddressAndRegister(parser, line);
  for (std::size_t i = first; i < operands.size() && !parser.Failed(); ++i) {
    std::uint8_t byte = 0;
    parser.Operand(i, "BYTE", 0, 0xFF, byte);
    line.data.push_back(byte);
  }
}

void ParseDump(Parser& parser, CommandLine& line) {
  parser.Option('l', "LENGTH", 1, kMaxTransferLength, line.length);
  std::size_t maxOperands = line.registerWidth > 0 ? 2 : 1;
  if (parser.OperandCount() < 1 || parser.OperandCount() > maxOperands) {
    parser.Fail(line.registerWidth > 0 ? "expected ADDRESS [START]" : "expected ADDRESS (no START with -r 0)");
  }
  parser.Operand(0, "ADDRESS", 0, 0x7F, line.address);
  std::uint64_t maxRegister = MaxRegisterAddress(line.registerWidth);
  if (parser.OperandCount() == 2) parser.Operand(1, "START", 0, maxRegister, line.registerAddress);
  if (!parser.Failed() && line.registerWidth > 0 && line.length - 1 > maxRegister - line.registerAddress) {
    parser.Fail("START + LENGTH runs past the last register of a " + std::to_string(line.registerWidth) +
                "-byte register address");
  }
}

}  // namespace

std::uint64_t MaxRegisterAddress(unsigned width) {
  if (width == 0) return 0;
  return width >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * width)) - 1;
}

ParseOutcome ParseCommandLine(const std::vector<std::string>& args) {
  ParseOutcome outcome;
  CommandLine line;
  if (args.empty()) {
    outcome.commandLine = line;
    return outcome;
  }
  for (const std::string& arg : args) {
    if (arg == "--") break;
    if (IsHelpOption(arg) || args[0] == "help") {
      outcome.commandLine = line;
      return outcome;
    }
  }
  auto found = Commands().find(args[0]);
  if (found == Commands().end()) {
    outcome.error = "unknown command '" + args[0] + "'";
    return outcome;
  }
  line.command = found->second.command;
  SplitWords words = Split(args[0], found->second, std::vector<std::string>(args.begin() + 1, args.end()));
  if (!words.error.empty()) {
    outcome.error = words.error;
    return outcome;
  }
  std::vector<std::string> operands = words.operands;
  Parser parser(args[0], std::move(words));
  parser.Option('r', "WIDTH", 0, kMaxRegisterWidth, line.registerWidth);
  switch (line.command) {
    case Command::Scan:
    case Command::Caps:
      if (!operands.empty()) parser.Fail("takes no operands");
      break;
    case Command::Get:
      ParseGet(parser, line);
      break;
    case Command::Set:
      ParseSet(parser, line, operands);
      break;
    case Command::Dump:
      ParseDump(parser, line);
      break;
    case Command::Help:
      break;
  }
  if (parser.Failed()) {
    outcome.error = parser.Error();
  } else {
    outcome.commandLine = line;
  }
  return outcome;
}

}  // namespace zavik::I2cTool
