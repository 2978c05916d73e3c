// i2czavik: a command-line host of the driver library.
#include <iostream>
#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "urd_api.h"
#include "usage_text.h"

int main(int argc, char** argv) {
  using namespace zavik::I2cTool;
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() == 1 && args[0] == "--version") {
    std::cout << "i2czavik " << I2CZAVIK_VERSION << '\n';
    return 0;
  }
  ParseOutcome parsed = ParseCommandLine(args);
  if (!parsed.commandLine) {
    std::cerr << "i2czavik: " << parsed.error << "\nRun 'i2czavik --help' for the syntax and examples.\n";
    return kExitUsage;
  }
  UrdApi api;
  std::string error;
  if (parsed.commandLine->command != Command::Help && !LoadUrdApi(api, error)) {
    std::cerr << "i2czavik: " << error << '\n';
    return kExitFailure;
  }
  int status = RunCommand(api, *parsed.commandLine, std::cout, std::cerr);
  std::cout.flush();
  return status;
}
