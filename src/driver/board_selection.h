#pragma once
// Which board UrdOpen and the DeviceIo open command take: the first of the
// scheduler's list whose type is not 4.

#include <vector>

#include "api/board_info.h"

namespace zavik::Driver {

constexpr const char* kNoBoardFoundText = "No I2C board has been found.";

inline const I2cApi::BoardInfo* FirstSelectableBoard(const std::vector<I2cApi::BoardInfo>& boards) {
  constexpr std::uint32_t kNeverChosenBoardType = 4;
  for (const I2cApi::BoardInfo& board : boards) {
    if (board.boardType != kNeverChosenBoardType) return &board;
  }
  return nullptr;
}

}  // namespace zavik::Driver
