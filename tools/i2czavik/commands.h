// The tool's commands, run against the library's exports.
#ifndef I2CZAVIK_TOOL_COMMANDS_H
#define I2CZAVIK_TOOL_COMMANDS_H

#include <ostream>

#include "command_line.h"
#include "urd_api.h"

namespace zavik::I2cTool {

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Runs `line`; results go to `out`, the library's error texts to `err`.
// Returns the process exit status.
int RunCommand(const UrdApi& api, const CommandLine& line, std::ostream& out, std::ostream& err);

// Bytes of one read while dumping.
constexpr std::uint32_t kDumpChunkSize = 32;

}  // namespace zavik::I2cTool

#endif
