#include "bus_scanner.h"

#include "library_text.h"

namespace zavik::I2cTool {

ScanOutcome BusScanner::Scan() {
  ScanOutcome outcome;
  for (unsigned address = 0; address < kAddressCount; ++address) {
    if (outcome.cells[address] != ScanCell::Absent) continue;
    Answer answer = Probe(static_cast<std::uint8_t>(address));
    if (answer == Answer::Unsupported && !readProbe_) {
      readProbe_ = true;
      answer = Probe(static_cast<std::uint8_t>(address));
    }
    if (answer == Answer::Present) {
      outcome.cells[address] = ScanCell::Found;
    } else if (answer != Answer::Absent) {
      outcome.failed = true;
      outcome.error = lastStatus_;
      break;
    }
  }
  outcome.usedReadProbe = readProbe_;
  return outcome;
}

BusScanner::Answer BusScanner::Probe(std::uint8_t address) {
  bool succeeded;
  if (readProbe_) {
    std::vector<std::uint8_t> ignored;
    succeeded = session_.Read(address, 0, 0, 1, ignored);
  } else {
    succeeded = session_.Write(address, 0, 0, {});
  }
  lastStatus_ = succeeded ? std::string() : session_.LastStatus();
  return Classify(succeeded, lastStatus_);
}

BusScanner::Answer BusScanner::Classify(bool succeeded, const std::string& status) const {
  if (succeeded) return Answer::Present;
  if (IsLibraryText(status, LibraryText::kNoSlave)) return Answer::Absent;
  if (IsLibraryText(status, LibraryText::kUnsupportedTransfer)) return Answer::Unsupported;
  // A short read or write still means the slave acknowledged its address.
  if (status.rfind(LibraryText::kIncompleteReadPrefix, 0) == 0 ||
      status.rfind(LibraryText::kIncompleteWritePrefix, 0) == 0) {
    return Answer::Present;
  }
  return Answer::Failed;
}

}  // namespace zavik::I2cTool
