#pragma once
// Writes one-bit signals as a Value Change Dump (IEEE 1364), the format
// that logic-analyzer software (PulseView, GTKWave) opens: a header
// declaring the signals in one scope with a 1 ns timescale, their initial
// levels at time 0, then a "#time" line before the changes at each later
// time. Times must not go backwards. Text collects in a buffer that Flush()
// hands to the stream, so that the file grows in whole pieces.

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace zavik::I2cSim {

class VcdWriter {
 public:
  explicit VcdWriter(std::ostream& out) : out_(out) {}

  // Declarations, all before the first Change(); returns the signal's handle.
  int AddSignal(const std::string& name, bool initial);
  void AddComment(const std::string& text) { comments_.push_back(text); }

  // Writes the header when it has not been written yet.
  void Change(std::uint64_t time, int signal, bool level);
  // Marks a time with no change, so that a viewer shows the bus up to it.
  void Mark(std::uint64_t time);
  // Writes everything buffered to the stream and flushes it.
  void Flush();

 private:
  struct Signal {
    std::string name;
    std::string code;
    bool level;
  };

  void WriteHeader();
  void AdvanceTo(std::uint64_t time);

  std::ostream& out_;
  std::vector<Signal> signals_;
  std::vector<std::string> comments_;
  std::string buffer_;
  bool headerWritten_ = false;
  std::uint64_t now_ = 0;
};

}  // namespace zavik::I2cSim
