#pragma once
// The board list as the scheduler sends it: each BoardInfo serialised into a
// fixed 29 627-byte entry (big-endian numbers except the five extra words,
// fixed-size list fields closed by their end value), the entries back to
// back, cut into nine-byte pieces and framed by codes 19, 20 and 21.

#include <cstdint>
#include <vector>

#include "api/board_info.h"
#include "scheduler_link/message_codes.h"
#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cSim {

// Appends one entry of exactly kBoardEntrySize bytes to out.
void SerialiseBoardEntry(const I2cApi::BoardInfo& board, std::vector<std::uint8_t>& out);

// 19 with the entry size, the stream in code-20 pieces (the last one padded
// with zeros), then 21.
I2cScheduler::MessageQueue BoardListMessages(const std::vector<I2cApi::BoardInfo>& boards);

}  // namespace zavik::I2cSim
