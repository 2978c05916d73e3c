#include "sim/waveform_recorder.h"

#include <string>

namespace zavik::I2cSim {

namespace {

std::string BoardPrefix(const std::vector<I2cApi::BoardInfo>& boards, const I2cApi::BoardInfo& board) {
  std::size_t sharing = 0;
  for (const I2cApi::BoardInfo& other : boards) sharing += other.boardNumber == board.boardNumber;
  std::string prefix = "board" + std::to_string(board.boardNumber);
  if (sharing > 1) prefix += "_type" + std::to_string(board.boardType);
  return prefix;
}

}  // namespace

WaveformRecorder::WaveformRecorder(const std::string& path, const std::vector<I2cApi::BoardInfo>& boards)
    : file_(path, std::ios::binary | std::ios::trunc), writer_(file_) {
  writer_.AddComment("I2C buses of i2c-scheduler-sim in simulated bus time: the bus idles " +
                     std::to_string(kIdleGap / 1000) + " us between transfers, and a bus timeout holds SCL low for " +
                     std::to_string(kTimeoutStretch / 1000000) +
                     " ms, standing for the scheduler's 500 ms, while the board's _timeout line is high.");
  for (const I2cApi::BoardInfo& board : boards) {
    const std::string prefix = BoardPrefix(boards, board);
    BoardLines lines;
    lines.scl = writer_.AddSignal(prefix + "_scl", true);
    lines.sda = writer_.AddSignal(prefix + "_sda", true);
    lines.timeout = writer_.AddSignal(prefix + "_timeout", false);
    lines_.push_back(lines);
  }
  writer_.Flush();
}

void WaveformRecorder::TransferRan(std::size_t board, const BusTransfer& transfer, const TransferResult& result) {
  if (board >= lines_.size()) return;
  const std::uint64_t end = TransferWaveform(writer_, lines_[board], transfer, result).Draw(idleUntil_);
  idleUntil_ = end + kIdleGap;
  writer_.Mark(idleUntil_);
  writer_.Flush();
}

}  // namespace zavik::I2cSim
