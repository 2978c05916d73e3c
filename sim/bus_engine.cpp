#include "sim/bus_engine.h"

#include <algorithm>
#include <cstdio>

#include "scheduler_link/message_codes.h"

namespace zavik::I2cSim {

using I2cScheduler::SchedulerMessage;

const char* OutcomeText(Outcome outcome) {
  switch (outcome) {
    case Outcome::kOk: return "ok";
    case Outcome::kAddressNack: return "address not acknowledged";
    case Outcome::kDataNack: return "data not acknowledged";
    case Outcome::kShortRead: return "read ended early";
    case Outcome::kArbitrationLost: return "arbitration lost";
    case Outcome::kBusTimeout: return "bus timeout";
    case Outcome::kProtocolError: return "protocol error";
    case Outcome::kVccLow: return "I2C Vcc too low";
  }
  return "?";
}

// The state of one run: the reports and trace being built, and the 10-bit
// address that the transfer's last 10-bit write selected.
class BusEngine::Run_ {
 public:
  Run_(SimBus& bus, std::uint32_t maxReadLength, const BusTransfer& transfer)
      : bus_(bus), maxReadLength_(maxReadLength), transfer_(transfer) {}

  TransferResult Execute() {
    for (std::size_t i = 0; i < transfer_.messages.size(); ++i) {
      if (!RunMessage(i)) break;
    }
    return std::move(result_);
  }

 private:
  bool IsLast(std::size_t i) const { return i + 1 == transfer_.messages.size(); }

  void Emit(std::uint32_t code, std::uint8_t value = 0) {
    SchedulerMessage report = SchedulerMessage::WithCode(code);
    report.SetByte(4, value);
    result_.reports.push_back(report);
  }
  void Status(std::uint32_t status) {
    SchedulerMessage report = SchedulerMessage::WithCode(I2cScheduler::FromScheduler::kAcknowledgement);
    report.SetU32At(4, status);
    result_.reports.push_back(report);
  }
  void Token(const std::string& token) {
    if (!result_.trace.empty()) result_.trace += ' ';
    result_.trace += token;
  }
  static std::string Hex(std::uint8_t byte) {
    char text[3];
    std::snprintf(text, sizeof text, "%02X", byte);
    return text;
  }

  void EmitBits(std::uint8_t byte, int count) {
    for (int bit = 7; bit > 7 - count; --bit) Emit(I2cScheduler::FromScheduler::kBit, (byte >> bit) & 1);
  }
  void EmitByte(std::uint8_t byte, const std::string& token) {
    EmitBits(byte, 8);
    Token(token);
  }
  void EmitAck(bool ack) {
    Emit(I2cScheduler::FromScheduler::kBit, ack ? 0 : 1);
    Token(ack ? "A" : "N");
  }
  void EmitStart(bool repeated) {
    Emit(I2cScheduler::FromScheduler::kStart);
    Token(repeated ? "Sr" : "S");
  }
  void EmitStop() {
    Emit(I2cScheduler::FromScheduler::kStop);
    Token("P");
  }

  AttachedDevice* Resolve(const BusMessage& message) {
    if (!message.TenBit()) return bus_.Find(message.header, false);
    const std::uint8_t high = message.header & 0x03;
    if (!message.read) {
      if (message.data.empty()) return nullptr;
      tenBitSelected_ = static_cast<std::uint16_t>((high << 8) | message.data[0]);
      return bus_.Find(static_cast<std::uint16_t>(tenBitSelected_), true);
    }
    // A 10-bit read sends only the first address byte: the slave that the
    // preceding write selected, if its high bits match, answers.
    if (tenBitSelected_ < 0 || (tenBitSelected_ >> 8) != high) return nullptr;
    return bus_.Find(static_cast<std::uint16_t>(tenBitSelected_), true);
  }

  bool RunMessage(std::size_t i) {
    const BusMessage& message = transfer_.messages[i];
    Emit(I2cScheduler::FromScheduler::kMessageBegins);
    EmitStart(i > 0);
    if (transfer_.highSpeedBitrate != 0) {
      // High-speed mode: the master code, which no slave acknowledges, then
      // the message proper after a repeated START.
      EmitByte(I2cScheduler::kHighSpeedMasterCode, Hex(I2cScheduler::kHighSpeedMasterCode));
      EmitAck(false);
      Emit(I2cScheduler::FromScheduler::kMessageBegins);
      EmitStart(true);
    }
    AttachedDevice* target = Resolve(message);
    if (target != nullptr && !InjectFault(message, target->faults)) return false;
    return message.read ? RunRead(i, target) : RunWrite(i, target);
  }

  // Faults that abort the transfer before the address byte completes.
  // Returns false when one struck.
  bool InjectFault(const BusMessage& message, const DeviceFaults& faults) {
    const std::uint8_t addressByte = AddressByte(message);
    if (faults.vccDrop >= 0) {
      SchedulerMessage report = SchedulerMessage::WithCode(I2cScheduler::FromScheduler::kI2cVcc);
      report.SetU16At(4, static_cast<std::uint16_t>(faults.vccDrop));
      result_.reports.push_back(report);
      Token("Vcc=" + std::to_string(faults.vccDrop) + "mV");
      return Abort(Outcome::kVccLow, static_cast<std::uint16_t>(faults.vccDrop));
    }
    if (faults.protocolError) {
      Emit(I2cScheduler::FromScheduler::kProtocolError);
      Token("PROTOCOL-ERROR");
      return Abort(Outcome::kProtocolError);
    }
    if (faults.arbitrationLost) {
      // Another master drove a bit low while we sent a high one.
      EmitBits(addressByte, 3);
      Status(I2cScheduler::MasterStatus::kArbitrationLost);
      Token("ARBITRATION-LOST");
      return Abort(Outcome::kArbitrationLost);
    }
    if (faults.busTimeout) {
      // The slave stretches the clock of its acknowledge bit forever.
      EmitByte(addressByte, AddressToken(message));
      Status(I2cScheduler::MasterStatus::kBusTimeout);
      Token("TIMEOUT");
      return Abort(Outcome::kBusTimeout);
    }
    return true;
  }

  bool Abort(Outcome outcome, std::uint16_t vcc = 0) {
    result_.outcome = outcome;
    result_.vccDrop = vcc;
    return false;
  }

  static std::uint8_t AddressByte(const BusMessage& message) {
    return static_cast<std::uint8_t>((message.header << 1) | (message.read ? 1 : 0));
  }
  static std::string AddressToken(const BusMessage& message) {
    return Hex(message.header) + (message.read ? "R" : "W");
  }

  bool RunWrite(std::size_t i, AttachedDevice* target) {
    const BusMessage& message = transfer_.messages[i];
    EmitByte(AddressByte(message), AddressToken(message));
    std::size_t first = 0;
    if (message.TenBit()) {
      // Every 10-bit slave with these high bits acknowledges the first
      // byte; only the one whose low byte follows acknowledges the second.
      if (!bus_.AnyTenBit(message.header & 0x03)) return EndEarly(i, Outcome::kAddressNack, nullptr);
      EmitAck(true);
      if (message.data.empty()) return FinishMessage(i, nullptr);
      EmitByte(message.data[0], Hex(message.data[0]));
      first = 1;
    }
    if (target == nullptr || !target->device->Select(false)) return EndEarly(i, Outcome::kAddressNack, nullptr);
    EmitAck(true);
    for (std::size_t j = first; j < message.data.size(); ++j) {
      const std::uint8_t byte = message.data[j];
      EmitByte(byte, Hex(byte));
      const bool refused = target->faults.nackAfter >= 0 && j - first >= static_cast<std::size_t>(target->faults.nackAfter);
      if (refused || !target->device->Write(byte)) return EndEarly(i, Outcome::kDataNack, target);
      EmitAck(true);
    }
    // Acknowledged bytes that the master never sent: only a lying report.
    for (int extra = 0; extra < target->faults.extraAcks; ++extra) {
      EmitByte(0xFF, "FF");
      EmitAck(true);
    }
    return FinishMessage(i, target);
  }

  bool RunRead(std::size_t i, AttachedDevice* target) {
    const BusMessage& message = transfer_.messages[i];
    EmitByte(AddressByte(message), AddressToken(message));
    if (target == nullptr || !target->device->Select(true)) return EndEarly(i, Outcome::kAddressNack, nullptr);
    EmitAck(true);
    std::uint32_t delivered = std::min({message.readCount, maxReadLength_, kMaxReadClocked});
    if (target->faults.shortRead >= 0) delivered = std::min(delivered, static_cast<std::uint32_t>(target->faults.shortRead));
    if (target->faults.extraReadBytes > 0) delivered += static_cast<std::uint32_t>(target->faults.extraReadBytes);
    // The master acknowledges every byte but the last one it takes.
    for (std::uint32_t j = 0; j < delivered; ++j) {
      const std::uint8_t byte = target->device->Read();
      EmitByte(byte, Hex(byte));
      if (j + 1 < delivered) {
        Emit(I2cScheduler::FromScheduler::kBit, 0);
        Token("A");
      } else {
        Emit(I2cScheduler::FromScheduler::kBit, 1);
        Token("N");
      }
    }
    if (delivered < message.readCount) return EndEarly(i, Outcome::kShortRead, target);
    return FinishMessage(i, target);
  }

  bool FinishMessage(std::size_t i, AttachedDevice* target) {
    if (target != nullptr) target->device->Release(IsLast(i));
    if (IsLast(i)) EmitStop();
    return true;
  }

  // A NACK or a cut read: the NACK bit is already on the bus for a read; for
  // a write the slave's NACK goes out here. Then STOP, and the next message,
  // if any, is reported as ended so that nobody waits for it.
  bool EndEarly(std::size_t i, Outcome outcome, AttachedDevice* target) {
    if (outcome != Outcome::kShortRead) EmitAck(false);
    if (target != nullptr) target->device->Release(true);
    EmitStop();
    result_.outcome = outcome;
    if (!IsLast(i)) Status(transfer_.messages[i + 1].read ? I2cScheduler::MasterStatus::kReadEnded : I2cScheduler::MasterStatus::kWriteEnded);
    return false;
  }

  SimBus& bus_;
  std::uint32_t maxReadLength_;
  const BusTransfer& transfer_;
  TransferResult result_;
  int tenBitSelected_ = -1;
};

TransferResult BusEngine::Run(const BusTransfer& transfer) { return Run_(bus_, maxReadLength_, transfer).Execute(); }

}  // namespace zavik::I2cSim
