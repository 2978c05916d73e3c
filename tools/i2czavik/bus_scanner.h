// Probes every usable 7-bit address once and records who answered.
#ifndef I2CZAVIK_TOOL_BUS_SCANNER_H
#define I2CZAVIK_TOOL_BUS_SCANNER_H

#include <string>

#include "register_session.h"
#include "scan_grid.h"

namespace zavik::I2cTool {

struct ScanOutcome {
  ScanResult cells = InitialScanResult();
  bool failed = false;
  std::string error;  // the library's text when a probe failed for another reason than silence
  bool usedReadProbe = false;
};

// Probes with an address-only write. A board that refuses empty writes makes
// the scanner switch, for the probe that found out and all later ones, to a
// read of one byte.
class BusScanner {
 public:
  explicit BusScanner(RegisterSession& session) : session_(session) {}

  ScanOutcome Scan();

 private:
  enum class Answer { Present, Absent, Unsupported, Failed };

  Answer Probe(std::uint8_t address);
  Answer Classify(bool succeeded, const std::string& status) const;

  RegisterSession& session_;
  bool readProbe_ = false;
  std::string lastStatus_;
};

}  // namespace zavik::I2cTool

#endif
