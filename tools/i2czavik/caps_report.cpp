#include "caps_report.h"

#include <cstdio>

namespace zavik::I2cTool {

namespace {

std::string Meaning(unsigned index, std::uint32_t value) {
  switch (index) {
    case I2CZAVIK_CAPS_MAX_BITRATE:
      return "max bitrate (Hz)";
    case I2CZAVIK_CAPS_HIGH_SPEED_BITRATE:
      return "high-speed bitrate (Hz; the first bitrate when the board has no high-speed mode)";
    case I2CZAVIK_CAPS_BOARD_TYPE_2:
      return value != 0 ? "board type 2: yes" : "board type 2: no";
    default:
      return "fixed";
  }
}

}  // namespace

std::string FormatCaps(const I2cHardwareCaps& caps) {
  std::string report = "word  hex         decimal     meaning\n";
  for (unsigned index = 0; index < 11; ++index) {
    char line[64];
    std::snprintf(line, sizeof line, "%4u  0x%08lx  %-10lu  ", index, static_cast<unsigned long>(caps.word[index]),
                  static_cast<unsigned long>(caps.word[index]));
    report += line + Meaning(index, caps.word[index]) + '\n';
  }
  return report;
}

}  // namespace zavik::I2cTool
