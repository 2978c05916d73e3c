#pragma once
// Channel over a MemoryWire. Framing, queues and limits are those of the
// socket channels (CIpcBase); only the transport differs: a read takes one
// segment the peer delivered, a write hands the bytes to the peer at once.

#include <memory>

#include "scheduler_link/ipc_base.h"
#include "scheduler_link/memory/memory_wire.h"

namespace zavik::I2cScheduler {

class CIpcMemory;

// What the endpoint's event handles point to: one direction of a channel.
struct MemorySignal {
  CIpcMemory* channel;
  bool write;
};

class CIpcMemory : public CIpcBase {
 public:
  explicit CIpcMemory(std::shared_ptr<MemoryWire> wire);
  ~CIpcMemory() override;
  CIpcMemory(const CIpcMemory&) = delete;
  CIpcMemory& operator=(const CIpcMemory&) = delete;

  bool ServiceRead() override;
  bool ServiceWrite() override;

  // For the selector: whether a read or write would make progress now, and
  // the hook that lets the peer run while the client waits.
  bool ReadReady() const;
  bool WriteReady() const { return IsOpen() && !SendQueueEmpty(); }
  void Idle(std::int32_t milliseconds) { wire_->Idle(milliseconds); }

 private:
  void Close();

  std::shared_ptr<MemoryWire> wire_;
  MemorySignal readSignal_{this, false};
  MemorySignal writeSignal_{this, true};
  std::uint8_t readBuffer_[kIoBufferSize];
};

}  // namespace zavik::I2cScheduler
