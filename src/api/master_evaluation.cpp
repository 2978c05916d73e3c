#include "api/master_evaluation.h"

#include <algorithm>

#include "api/exceptions.h"

namespace zavik::I2cApi {

namespace {

// Failures that say nothing about how many bytes got through.
void ThrowBusFailure(std::uint32_t result, const VccReader& vcc) {
  switch (result) {
    case kResultArbitrationLost: throw Cpp::CExceptionMasterArbitration();
    case kResultProtocolError: throw Cpp::CExceptionMasterI2cProtocol();
    case kResultVccTooLow: throw Cpp::CExceptionI2cVcc(vcc());
    default: break;
  }
}

}  // namespace

void EvaluateWrite(const TransferStatus& entry, Cpp::CMasterMessageTx& message, const VccReader& vcc) {
  if (entry.result != kResultBusTimeout && entry.result != kResultNoError) {
    message.SetAcknowledgedCount(0);
    ThrowBusFailure(entry.result, vcc);
  }
  const std::uint32_t addressBytes = message.GetAddress().IsTenBit() ? 2 : 1;
  const bool addressed = entry.count >= addressBytes;
  // A scheduler may report more acknowledged bytes than were sent; hosts
  // index their own buffers with this count, so it never exceeds the data.
  const std::uint32_t acknowledged = addressed ? entry.count - addressBytes : 0;
  message.SetAcknowledgedCount(
      std::min<std::uint32_t>(acknowledged, static_cast<std::uint32_t>(message.GetData().size())));
  // A timeout keeps the count of what got through before it.
  if (entry.result == kResultBusTimeout) throw Cpp::CExceptionMasterTimeout();
  if (!addressed) throw Cpp::CExceptionMasterAddress(message);
  if (message.GetTransferredCount() < message.GetData().size()) throw Cpp::CExceptionMasterIncompleteTx(message);
}

void EvaluateRead(const TransferStatus& entry, const Cpp::CMasterMessageRx& message, const VccReader& vcc) {
  ThrowBusFailure(entry.result, vcc);
  if (entry.result == kResultBusTimeout) throw Cpp::CExceptionMasterTimeout();
  if (entry.count == 0) throw Cpp::CExceptionMasterAddress(message);
  if (entry.count - 1 < message.GetRequestedCount()) throw Cpp::CExceptionMasterIncompleteRx(message);
}

}  // namespace zavik::I2cApi
