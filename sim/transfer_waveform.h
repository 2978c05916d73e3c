#pragma once
// Draws one transfer on a board's SCL and SDA lines, from the bus reports
// the engine produced for it, with the timing of the transfer's bitrates.
//
// Each clock starts with SCL falling: SDA takes the bit's level after the
// data hold time, SCL rises at the end of the LOW time and falls again one
// period after it fell. A START (from an idle bus) or repeated START, and
// the STOP, are timed by the part of the transfer they open or close: in
// high-speed mode a master code and the START before it run at the
// transfer's F/S bitrate, the repeated START after a master code and
// everything up to the next master code or the STOP at the high-speed
// bitrate.
//
// Faults, which the engine reports without a STOP:
// - arbitration lost: our master sends the address bits reported, then the
//   rest of its address byte up to the first bit where it sends a 1 (or,
//   when no 1 follows, back at the last 1 it reported). There the other
//   master holds SDA low; SCL rises, our clock stops with SCL high, and the
//   other master, not drawn any further, lets SDA go high: the bus is idle
//   again, and a decoder reads that edge as a STOP.
// - bus timeout: after the address byte the slave holds SCL low in the
//   ninth clock for kTimeoutStretch (standing for the 500 ms after which the
//   scheduler gives up) while the board's timeout line is high; then SCL
//   rises with SDA released (read as a NACK) and the master sends a STOP.
// - protocol error and low Vcc: the message's START, then a STOP.

#include <cstddef>
#include <cstdint>

#include "sim/bus_engine.h"
#include "sim/bus_timing.h"
#include "sim/bus_transfer.h"
#include "sim/vcd_writer.h"

namespace zavik::I2cSim {

// The signals of one board in the VCD file.
struct BoardLines {
  int scl = 0;
  int sda = 0;
  int timeout = 0;  // high while a bus timeout's stretch is drawn
};

constexpr std::uint64_t kTimeoutStretch = 1000000;  // ns: 1 ms for the scheduler's 500 ms

class TransferWaveform {
 public:
  TransferWaveform(VcdWriter& writer, const BoardLines& lines, const BusTransfer& transfer, const TransferResult& result);

  // Draws the transfer with its first edge at `start`, the bus idle before
  // it; returns the time of its last edge, after which the bus is idle.
  std::uint64_t Draw(std::uint64_t start);

 private:
  void Start(std::size_t report);
  void Bit(bool level);
  void Stop();
  void LoseArbitration();
  void StretchForTimeout();

  void Scl(std::uint64_t time, bool level) { writer_.Change(time, lines_.scl, level); }
  void Sda(std::uint64_t time, bool level) { writer_.Change(time, lines_.sda, level); }
  bool SegmentWasMasterCode() const;
  bool LosesArbitrationAfter(std::size_t report) const;
  bool AddressBit(int position) const;

  VcdWriter& writer_;
  BoardLines lines_;
  const BusTransfer& transfer_;
  const TransferResult& result_;
  BusTiming fullSpeed_;
  BusTiming highSpeed_;
  const BusTiming* timing_ = &fullSpeed_;

  std::uint64_t now_ = 0;  // SCL has just fallen (or, outside a frame, the bus is idle)
  bool inFrame_ = false;
  int bitsInSegment_ = 0;      // bits since the last START
  unsigned firstByte_ = 0;     // the first byte after it, as far as sent
  int message_ = -1;           // the message whose address byte is being sent
  std::size_t lossReport_;     // position of the arbitration-lost status, or npos
  int lossAt_ = 0;             // 1..8: the address bit where arbitration is lost; 0 none
};

}  // namespace zavik::I2cSim
