#include "scheduler_link/win/ipc_win_socket.h"

namespace zavik::I2cScheduler {

namespace {

bool IsSignalled(HANDLE event) { return WaitForSingleObject(event, 0) == WAIT_OBJECT_0; }

// Sets the event when there is work the caller must come back for, resets it
// otherwise, so that a selector wait neither misses that work nor spins.
void SignalIf(HANDLE event, bool signalled) {
  if (signalled)
    SetEvent(event);
  else
    ResetEvent(event);
}

void ClearStatus(OVERLAPPED& block) {
  block.Internal = 0;
  block.InternalHigh = 0;
  block.Offset = 0;
  block.OffsetHigh = 0;
}

// Upper bound for collecting operations that Close has cancelled. The
// cancellation itself is immediate; the bound only keeps a broken stack from
// hanging the caller.
constexpr DWORD kCancelGraceMilliseconds = 2000;

void AwaitCancelled(OVERLAPPED& block, HANDLE event) {
  const DWORD start = GetTickCount();
  while (!HasOverlappedIoCompleted(&block) && GetTickCount() - start < kCancelGraceMilliseconds)
    WaitForSingleObject(event, 10);
}

}  // namespace

CIpcWinSocket::CIpcWinSocket(std::uint16_t port, const char* host) {
  if (Connect(port, host)) StartIo();
}

CIpcWinSocket::~CIpcWinSocket() {
  if (socket_ != INVALID_SOCKET) Close();
  if (endpoint_.readEvent != nullptr) CloseHandle(endpoint_.readEvent);
  if (endpoint_.writeEvent != nullptr) CloseHandle(endpoint_.writeEvent);
}

bool CIpcWinSocket::Connect(std::uint16_t port, const char* host) {
  // A socket from socket() accepts overlapped I/O, which ReadFile and
  // WriteFile on its handle rely on.
  socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
  if (socket_ == INVALID_SOCKET) return false;
  SetOpen(true);

  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr(host == nullptr ? "" : host);
  if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    Close();
    return false;
  }
  if (WantsNoDelay(host)) {
    int one = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&one), sizeof one);
  }
  return true;
}

void CIpcWinSocket::StartIo() {
  ResetWriteChunk();
  readPending_ = writePending_ = false;
  if (!CreateIoEvent(endpoint_.readEvent, readBlock_) || !CreateIoEvent(endpoint_.writeEvent, writeBlock_)) {
    Close();
    return;
  }
  ServiceRead();
}

bool CIpcWinSocket::CreateIoEvent(HANDLE& event, OVERLAPPED& block) {
  event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) return false;
  ClearStatus(block);
  block.hEvent = event;
  return true;
}

bool CIpcWinSocket::ServiceRead() {
  if (!IsOpen()) return false;
  if (readPending_) {
    if (!IsSignalled(endpoint_.readEvent)) return true;
    if (!CollectRead()) return false;
  }
  if (ReadingPaused()) {
    // No read is outstanding now; the event must stay reset so that waits
    // block until the caller drains the queue and calls again.
    ResetEvent(endpoint_.readEvent);
    return true;
  }
  return StartRead();
}

bool CIpcWinSocket::CollectRead() {
  readPending_ = false;
  DWORD transferred = 0;
  // Zero bytes: the scheduler closed the connection.
  if (!GetOverlappedResult(FileHandle(), &readBlock_, &transferred, FALSE) || transferred == 0) {
    Close();
    return false;
  }
  ResetEvent(endpoint_.readEvent);
  AcceptReceived(readBuffer_, transferred);
  return true;
}

bool CIpcWinSocket::StartRead() {
  ResetEvent(endpoint_.readEvent);
  ClearStatus(readBlock_);
  DWORD transferred = 0;
  if (ReadFile(FileHandle(), readBuffer_, kIoBufferSize, &transferred, &readBlock_)) {
    if (transferred == 0) {
      Close();
      return false;
    }
    AcceptReceived(readBuffer_, transferred);
    readPending_ = false;
    // Nothing is outstanding now: the next wait must return at once so that
    // the next call starts another read.
    SignalIf(endpoint_.readEvent, !ReadingPaused());
    return true;
  }
  if (GetLastError() == ERROR_IO_PENDING) {
    readPending_ = true;
    return true;
  }
  Close();
  return false;
}

bool CIpcWinSocket::ServiceWrite() {
  if (!IsOpen()) return false;
  if (writePending_) {
    if (!IsSignalled(endpoint_.writeEvent)) return true;
    if (!CollectWrite()) return false;
  }
  if (SendQueueEmpty()) {
    ResetEvent(endpoint_.writeEvent);
    return true;
  }
  return StartWrite();
}

bool CIpcWinSocket::CollectWrite() {
  writePending_ = false;
  DWORD transferred = 0;
  if (!GetOverlappedResult(FileHandle(), &writeBlock_, &transferred, FALSE)) {
    Close();
    return false;
  }
  ResetEvent(endpoint_.writeEvent);
  CompleteWrite(transferred, writeRequested_);
  return true;
}

bool CIpcWinSocket::StartWrite() {
  // The bytes stay queued until the write reports them done, so a short
  // write is continued from the first unsent byte by the next call.
  writeRequested_ = PrepareWrite(writeBuffer_);
  ResetEvent(endpoint_.writeEvent);
  ClearStatus(writeBlock_);
  DWORD transferred = 0;
  if (WriteFile(FileHandle(), writeBuffer_, writeRequested_, &transferred, &writeBlock_)) {
    CompleteWrite(transferred, writeRequested_);
    writePending_ = false;
    SignalIf(endpoint_.writeEvent, !SendQueueEmpty());
    return true;
  }
  if (GetLastError() == ERROR_IO_PENDING) {
    writePending_ = true;
    return true;
  }
  Close();
  return false;
}

void CIpcWinSocket::Close() {
  if (socket_ != INVALID_SOCKET) {
    CancelIo(FileHandle());
    closesocket(socket_);
    socket_ = INVALID_SOCKET;
  }
  // A cancelled operation still owns its block and buffer until the system
  // reports it finished; the channel may be destroyed right after this.
  if (readPending_) AwaitCancelled(readBlock_, endpoint_.readEvent);
  if (writePending_) AwaitCancelled(writeBlock_, endpoint_.writeEvent);
  readPending_ = writePending_ = false;
  if (endpoint_.readEvent != nullptr) ResetEvent(endpoint_.readEvent);
  if (endpoint_.writeEvent != nullptr) ResetEvent(endpoint_.writeEvent);
  MarkClosed();
}

}  // namespace zavik::I2cScheduler
