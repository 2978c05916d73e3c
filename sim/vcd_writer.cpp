#include "sim/vcd_writer.h"

#include <charconv>

namespace zavik::I2cSim {

namespace {

// Identifier codes are strings of the printable characters '!'..'~'.
std::string CodeFor(std::size_t index) {
  std::string code;
  do {
    code += static_cast<char>('!' + index % 94);
    index /= 94;
  } while (index != 0);
  return code;
}

}  // namespace

int VcdWriter::AddSignal(const std::string& name, bool initial) {
  signals_.push_back(Signal{name, CodeFor(signals_.size()), initial});
  return static_cast<int>(signals_.size() - 1);
}

void VcdWriter::WriteHeader() {
  buffer_ += "$version i2c-scheduler-sim $end\n";
  for (const std::string& comment : comments_) buffer_ += "$comment\n  " + comment + "\n$end\n";
  buffer_ += "$timescale 1 ns $end\n$scope module i2c $end\n";
  for (const Signal& signal : signals_) buffer_ += "$var wire 1 " + signal.code + " " + signal.name + " $end\n";
  buffer_ += "$upscope $end\n$enddefinitions $end\n#0\n$dumpvars\n";
  for (const Signal& signal : signals_) buffer_ += (signal.level ? "1" : "0") + signal.code + "\n";
  buffer_ += "$end\n";
  headerWritten_ = true;
}

void VcdWriter::AdvanceTo(std::uint64_t time) {
  if (!headerWritten_) WriteHeader();
  if (time <= now_) return;
  now_ = time;
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, time).ptr;
  buffer_ += '#';
  buffer_.append(digits, end);
  buffer_ += '\n';
}

void VcdWriter::Change(std::uint64_t time, int signal, bool level) {
  Signal& changed = signals_[static_cast<std::size_t>(signal)];
  if (changed.level == level) return;
  AdvanceTo(time);
  changed.level = level;
  buffer_ += level ? '1' : '0';
  buffer_ += changed.code;
  buffer_ += '\n';
}

void VcdWriter::Mark(std::uint64_t time) { AdvanceTo(time); }

void VcdWriter::Flush() {
  if (!headerWritten_) WriteHeader();
  out_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  out_.flush();
  buffer_.clear();
}

}  // namespace zavik::I2cSim
