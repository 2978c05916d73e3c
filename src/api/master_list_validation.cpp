#include "api/master_list_validation.h"

#include <cstdint>

#include "api/exceptions.h"

namespace zavik::I2cApi {

using Cpp::CMasterMessage;
using Cpp::CMasterMessageRx;
using Cpp::CMasterMessageTx;
using Cpp::MasterMessageList;

namespace {

constexpr std::uint32_t kBoardTypeSingleFrame = 1;  // bytes of one transfer limited
constexpr std::uint32_t kBoardTypeWriteRead = 3;    // at most write-then-read
constexpr std::uint64_t kMaxTransmittedBytes = 8192;

const CMasterMessageTx* AsWrite(const CMasterMessage* m) { return dynamic_cast<const CMasterMessageTx*>(m); }
const CMasterMessageRx* AsRead(const CMasterMessage* m) { return dynamic_cast<const CMasterMessageRx*>(m); }

[[noreturn]] void Refuse() { throw Cpp::CExceptionMasterInvalidTransfer(); }

void CheckCapabilities(const BoardInfo& board, const MasterMessageList& messages) {
  for (const CMasterMessage* m : messages) {
    if (AsWrite(m) != nullptr && !board.MasterTxSupported()) throw Cpp::CExceptionMasterNotSupported();
    if (const CMasterMessageRx* read = AsRead(m)) {
      if (!board.MasterRxSupported()) throw Cpp::CExceptionMasterNotSupported();
      if (read->GetRequestedCount() > board.maxReadLength) Refuse();
    }
  }
}

// Only a write of at least one byte, optionally followed by one read from the
// same slave (a 7-bit read after a 10-bit write is allowed).
void CheckWriteReadRules(const MasterMessageList& messages) {
  for (const CMasterMessage* m : messages) {
    const CMasterMessageTx* write = AsWrite(m);
    if (write != nullptr && write->GetData().empty()) Refuse();
  }
  if (messages.size() > 2) Refuse();
  if (messages.size() != 2) return;
  if (AsWrite(messages[0]) == nullptr || AsRead(messages[1]) == nullptr) Refuse();
  const Cpp::CI2cAddress& first = messages[0]->GetAddress();
  const Cpp::CI2cAddress& second = messages[1]->GetAddress();
  if (first.IsTenBit() && second.IsTenBit() && first.GetValue() != second.GetValue()) Refuse();
  if (!first.IsTenBit() && second.IsTenBit()) Refuse();
}

// Bytes the master itself puts on the bus: address bytes and written data.
std::uint64_t TransmittedBytes(const CMasterMessage* m) {
  const bool tenBit = m->GetAddress().IsTenBit();
  if (const CMasterMessageTx* write = AsWrite(m)) return write->GetData().size() + (tenBit ? 2 : 1);
  if (AsRead(m) != nullptr) return tenBit ? 3 : 1;
  return 0;
}

void CheckSingleFrameRules(const MasterMessageList& messages) {
  for (std::size_t i = 0; i + 1 < messages.size(); ++i) {
    if (AsWrite(messages[i]) == nullptr) Refuse();
  }
  std::uint64_t sum = 0;
  for (const CMasterMessage* m : messages) sum += TransmittedBytes(m);
  if (sum > kMaxTransmittedBytes) Refuse();
}

}  // namespace

void ValidateMasterList(const BoardInfo& board, const MasterMessageList& messages) {
  CheckCapabilities(board, messages);
  if (board.boardType == kBoardTypeWriteRead) CheckWriteReadRules(messages);
  if (board.boardType == kBoardTypeSingleFrame) CheckSingleFrameRules(messages);
}

}  // namespace zavik::I2cApi
