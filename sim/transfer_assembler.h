#pragma once
// Collects a client's transfer records (19 configure, 16 write header, 18
// write data, 17 read header) into a BusTransfer. A transfer is complete when
// its message with the last flag is complete. A write is complete after
// max(1, ceil(n / 8)) data records, n being its data count (for a 10-bit
// address the low address byte travels in a record of its own first), so a
// write without data owns exactly one empty record.

#include <cstdint>
#include <optional>

#include "scheduler_link/scheduler_message.h"
#include "sim/bus_transfer.h"

namespace zavik::I2cSim {

class TransferAssembler {
 public:
  // Limits that keep a misbehaving client from exhausting memory.
  static constexpr std::size_t kMaxMessages = 4096;
  static constexpr std::size_t kMaxWriteBytes = 1 << 20;

  // Code 19: a new transfer with these bitrates; an unfinished one is dropped.
  void Configure(std::uint32_t bitrate, std::uint32_t highSpeedBitrate);

  // Codes 16, 17, 18. Returns the transfer once its last message is complete.
  std::optional<BusTransfer> Feed(const I2cScheduler::SchedulerMessage& record);

  // Drops everything collected so far (the configuration stays).
  void Reset();

  bool Idle() const { return transfer_.messages.empty(); }

 private:
  std::optional<BusTransfer> CompleteMessage();
  std::optional<BusTransfer> StartMessage(const I2cScheduler::SchedulerMessage& header, bool read);
  std::optional<BusTransfer> AddData(const I2cScheduler::SchedulerMessage& record);

  BusTransfer transfer_;
  std::uint32_t bitrate_ = 100000;
  std::uint32_t highSpeedBitrate_ = 0;
  std::uint64_t recordsOwed_ = 0;  // data records the open write still needs
};

}  // namespace zavik::I2cSim
