#include "scheduler_link/memory/ipc_memory.h"

namespace zavik::I2cScheduler {

CIpcMemory::CIpcMemory(std::shared_ptr<MemoryWire> wire) : wire_(std::move(wire)) {
  endpoint_.readEvent = &readSignal_;
  endpoint_.writeEvent = &writeSignal_;
  SetOpen(true);
}

CIpcMemory::~CIpcMemory() { Close(); }

bool CIpcMemory::ReadReady() const {
  return IsOpen() && !ReadingPaused() && (wire_->HasSegment() || wire_->HungUp());
}

bool CIpcMemory::ServiceRead() {
  if (!IsOpen()) return false;
  if (ReadingPaused()) return true;
  if (const std::size_t n = wire_->TakeSegment(readBuffer_, sizeof readBuffer_)) {
    AcceptReceived(readBuffer_, n);
    return true;
  }
  if (!wire_->HungUp()) return true;
  // Everything the peer delivered has been read: the end of the stream.
  Close();
  return false;
}

bool CIpcMemory::ServiceWrite() {
  if (!IsOpen()) return false;
  if (SendQueueEmpty()) return true;
  if (wire_->HungUp()) {
    Close();
    return false;
  }
  const std::uint32_t n = PrepareWriteInPlace();
  wire_->Write(SendQueueFront(), n);
  CompleteWrite(n, n);
  return true;
}

void CIpcMemory::Close() {
  if (IsOpen()) wire_->CloseClient();
  MarkClosed();
}

}  // namespace zavik::I2cScheduler
