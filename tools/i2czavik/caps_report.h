// The hardware capabilities of the command-code interface, for people.
#ifndef I2CZAVIK_TOOL_CAPS_REPORT_H
#define I2CZAVIK_TOOL_CAPS_REPORT_H

#include <string>

#include "i2czavik.h"

namespace zavik::I2cTool {

// One line per word: index, value in hex and decimal, and what it means.
std::string FormatCaps(const I2cHardwareCaps& caps);

}  // namespace zavik::I2cTool

#endif
