#pragma once
// The waveforms of every board's bus in one VCD file: an SCL and an SDA
// line per board ("board1_scl", "board1_sda"; "board1_type3_scl" when two
// boards share a number) and a line that marks bus-timeout stretches, all on
// one timeline of simulated bus time. Transfers follow each other with the
// bus idle for kIdleGap between them, however long the simulator waited
// for its clients: longer than any mode's bus free time, short enough to
// keep files small. The file is flushed after each transfer, so that it can
// be opened while the simulator runs and is complete whenever it stops.

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "api/board_info.h"
#include "sim/scheduler_core.h"
#include "sim/transfer_waveform.h"
#include "sim/vcd_writer.h"

namespace zavik::I2cSim {

constexpr std::uint64_t kIdleGap = 10000;  // ns

class WaveformRecorder : public TransferObserver {
 public:
  // Creates the file anew (IsOpen() tells whether that worked) and writes
  // its header.
  WaveformRecorder(const std::string& path, const std::vector<I2cApi::BoardInfo>& boards);

  bool IsOpen() const { return file_.is_open(); }

  void TransferRan(std::size_t board, const BusTransfer& transfer, const TransferResult& result) override;

 private:
  std::ofstream file_;
  VcdWriter writer_;
  std::vector<BoardLines> lines_;
  std::uint64_t idleUntil_ = kIdleGap;  // the earliest time of the next transfer's first edge
};

}  // namespace zavik::I2cSim
