#pragma once
// Channel over a non-blocking TCP socket. A read or write "in flight" is one
// that hit EAGAIN: its readiness signal is then armed and the selector wakes
// when the socket is ready again, exactly where the Win32 channel would wait
// on its overlapped operation's event.

#include <cstdint>

#include "scheduler_link/ipc_base.h"
#include "scheduler_link/posix/readiness_signal.h"
#include "scheduler_link/socket_platform.h"

namespace zavik::I2cScheduler {

class CIpcPosixSocket : public CIpcBase {
 public:
  explicit CIpcPosixSocket(std::uint16_t port = kSchedulerPort, const char* host = kSchedulerHost);
  ~CIpcPosixSocket() override;
  CIpcPosixSocket(const CIpcPosixSocket&) = delete;
  CIpcPosixSocket& operator=(const CIpcPosixSocket&) = delete;

  bool ServiceRead() override;
  bool ServiceWrite() override;

 private:
  bool Connect(std::uint16_t port, const char* host);
  void StartIo();
  void Close();

  int socket_ = -1;
  ReadinessSignal readSignal_;
  ReadinessSignal writeSignal_;
  std::uint8_t readBuffer_[kIoBufferSize];
};

}  // namespace zavik::I2cScheduler
