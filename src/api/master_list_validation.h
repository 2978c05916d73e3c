#pragma once
// Whether the opened board can run a list of master messages: master write and
// read support, the longest read, and the combined-transfer rules of the board
// types that restrict them.

#include "api/board_info.h"
#include "api/master_message.h"

namespace zavik::I2cApi {

// Throws CExceptionMasterNotSupported or CExceptionMasterInvalidTransfer at
// the first rule the list breaks.
void ValidateMasterList(const BoardInfo& board, const Cpp::MasterMessageList& messages);

}  // namespace zavik::I2cApi
