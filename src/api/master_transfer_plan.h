#pragma once
// The records that carry one master transfer to the scheduler, in send order,
// and the tracking entries that follow them: 19 (bitrates), then per message
// 16 and 18 (write header and data) or 17 (read header). A read from a 10-bit
// address gets an address-only write to the same address in front of it, so
// that the slave has seen the low address byte, unless the entry before it
// already addressed that slave.

#include <cstdint>
#include <vector>

#include "api/master_message.h"
#include "api/master_tracker.h"
#include "scheduler_link/message_codes.h"
#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi {

// Where one message of the list is tracked: its status entry and, for a read
// with an inserted address-only write in front of it, that write's entry.
struct PlannedMessage {
  std::size_t entry = 0;
  std::size_t addressWriteEntry = 0;  // 0: none inserted
};

// Replaces statuses with entry 0 (the configuration) and the entries of the
// messages; appends the records to records; replaces plan with one element
// per message, in list order.
void PlanTransfer(const Cpp::MasterMessageList& messages, std::uint32_t bitrate, std::uint32_t highSpeedBitrate,
                  std::vector<TransferStatus>& statuses, I2cScheduler::MessageQueue& records,
                  std::vector<PlannedMessage>& plan);

}  // namespace zavik::I2cApi
