#pragma once
// Turns a finished tracking entry into the outcome of its message: the
// acknowledged count of a write, or an exception for every kind of failure.

#include <cstdint>
#include <functional>

#include "api/master_message.h"
#include "api/master_tracker.h"

namespace zavik::I2cApi {

// Reads the current I2C Vcc for the text of a low-Vcc failure.
using VccReader = std::function<std::uint16_t()>;

void EvaluateWrite(const TransferStatus& entry, Cpp::CMasterMessageTx& message, const VccReader& vcc);
void EvaluateRead(const TransferStatus& entry, const Cpp::CMasterMessageRx& message, const VccReader& vcc);

}  // namespace zavik::I2cApi
