#ifndef I2CZAVIK_TOOL_USAGE_TEXT_H
#define I2CZAVIK_TOOL_USAGE_TEXT_H

#include <string>

namespace zavik::I2cTool {

// The help text: syntax of every command with examples.
std::string UsageText();

}  // namespace zavik::I2cTool

#endif
