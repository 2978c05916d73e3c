#pragma once
// Runs one transfer on a simulated bus and reports it the way the scheduler
// reports a real bus: code 22 before each message, START (5), one code 7 per
// bit (the address byte with its R/W bit, eight bits per data byte, then the
// acknowledge bit), repeated START between messages and STOP (6) after the
// last one or when the transfer has to end early. Faults of the addressed
// device end it with status 32 or 36, code 8 or a low Vcc report (24).

#include <cstdint>
#include <string>

#include "scheduler_link/message_codes.h"
#include "scheduler_link/scheduler_message.h"
#include "sim/bus_transfer.h"
#include "sim/sim_bus.h"

namespace zavik::I2cSim {

// Every byte read becomes nine reports of 13 bytes; one read clocks at most
// this many bytes (a board may advertise more) so that a single request
// cannot exhaust the simulator's memory.
constexpr std::uint32_t kMaxReadClocked = 1u << 20;

enum class Outcome { kOk, kAddressNack, kDataNack, kShortRead, kArbitrationLost, kBusTimeout, kProtocolError, kVccLow };

const char* OutcomeText(Outcome outcome);

struct TransferResult {
  I2cScheduler::MessageQueue reports;
  std::string trace;  // e.g. "S 50W A 10 A Sr 50R A 12 A 34 N P"
  Outcome outcome = Outcome::kOk;
  std::uint16_t vccDrop = 0;  // the Vcc reported when outcome is kVccLow
};

class BusEngine {
 public:
  BusEngine(SimBus& bus, std::uint32_t maxReadLength) : bus_(bus), maxReadLength_(maxReadLength) {}

  TransferResult Run(const BusTransfer& transfer);

 private:
  class Run_;
  SimBus& bus_;
  std::uint32_t maxReadLength_;
};

}  // namespace zavik::I2cSim
