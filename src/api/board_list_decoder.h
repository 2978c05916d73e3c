#pragma once
// Decoding of the scheduler's board list stream: zero or more serialised
// board entries of fixed size, back to back. Entries are read straight from
// the front of the byte queue the stream was assembled in, so a long list is
// never copied; each list field goes directly into its vector.

#include <cstdint>
#include <deque>

#include "api/board_info.h"

namespace zavik::I2cApi {

// Component labels of the version maps.
constexpr const char* kFirmwareLabel = "firmware";
constexpr const char* kFpgaLabel = "FPGA configuration";
constexpr const char* kDriverLabel = "driver";

// True when the stream holds a whole entry and as many bytes as the
// scheduler announced for one.
bool HoldsBoardEntry(const std::deque<std::uint8_t>& stream, std::uint32_t announcedEntrySize);

// Decodes the entry at the front of the stream and removes its bytes.
// The stream must hold at least kBoardEntrySize bytes.
BoardInfo TakeBoardEntry(std::deque<std::uint8_t>& stream);

}  // namespace zavik::I2cApi
