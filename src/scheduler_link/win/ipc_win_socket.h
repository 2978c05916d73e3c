#pragma once
// Channel over a TCP socket with overlapped reads and writes. Each direction
// has one overlapped block and one manual-reset event; the event is what the
// endpoint selector waits on, so the channel itself never blocks.

#include <winsock2.h>
#include <windows.h>

#include <cstdint>

#include "scheduler_link/ipc_base.h"
#include "scheduler_link/socket_platform.h"

namespace zavik::I2cScheduler {

class CIpcWinSocket : public CIpcBase {
 public:
  explicit CIpcWinSocket(std::uint16_t port = kSchedulerPort, const char* host = kSchedulerHost);
  ~CIpcWinSocket() override;
  CIpcWinSocket(const CIpcWinSocket&) = delete;
  CIpcWinSocket& operator=(const CIpcWinSocket&) = delete;

  bool ServiceRead() override;
  bool ServiceWrite() override;

 private:
  bool Connect(std::uint16_t port, const char* host);
  void StartIo();
  bool CreateIoEvent(HANDLE& event, OVERLAPPED& block);
  bool CollectRead();
  bool StartRead();
  bool CollectWrite();
  bool StartWrite();
  HANDLE FileHandle() const { return reinterpret_cast<HANDLE>(socket_); }
  void Close();

  SOCKET socket_ = INVALID_SOCKET;
  OVERLAPPED readBlock_{};
  OVERLAPPED writeBlock_{};
  std::uint8_t readBuffer_[kIoBufferSize];
  std::uint8_t writeBuffer_[kIoBufferSize];
  bool readPending_ = false;
  bool writePending_ = false;
  std::uint32_t writeRequested_ = 0;
};

}  // namespace zavik::I2cScheduler
