#include "api/board_client.h"

#include <stdexcept>
#include <utility>

#include "api/bus_event_recorder.h"
#include "api/bus_watcher.h"
#include "api/capture_module.h"
#include "api/exceptions.h"
#include "api/master_module.h"
#include "scheduler_link/message_codes.h"

namespace zavik::I2cApi {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

namespace {

constexpr Version kSupportedSchedulerVersion{1, 6, 0};
constexpr std::size_t kGreetingMajor = 4;
constexpr std::size_t kGreetingMinor = 5;
constexpr std::size_t kGreetingBuild = 6;
constexpr std::size_t kGreetingBusy = 8;

}  // namespace

// Construction connects and checks the greeting; it sends nothing. When it
// throws, the members already made (modules, selectors, channel) are
// destroyed by their owning pointers before the exception leaves, and with
// no board open there is nothing to close.
CBoardClient::CBoardClient(std::uint16_t port, const char* host)
    : CBoardClient(I2cScheduler::ConnectSocketLink(port, host)) {}

CBoardClient::CBoardClient(I2cScheduler::SchedulerLink link)
    : channel_(std::move(link.channel)),
      readSelector_(std::move(link.readSelector)),
      readWriteSelector_(std::move(link.readWriteSelector)) {
  recorder_ = std::make_unique<BusEventRecorder>(*this);
  captureModule_ = std::make_unique<CaptureModule>(*this);
  masterModule_ = std::make_unique<CMasterModule>(*this);
  busWatcher_ = std::make_unique<BusWatcher>(*this);
  boardOpen_ = 0;
  collectingAcks_ = 0;
  enumerating_ = 0;
  ConnectSelectors();
  WaitForGreeting();
}

// Destruction while a board is open closes it with a close request. When
// that fails because the scheduler is gone (or for any other reason), the
// failure is swallowed: a destructor must not throw, the client is never used
// again, and a host that wants to hear about a failed close calls UrdClose,
// which closes the board before it destroys the client. boardOpen is cleared
// before the request leaves, so the failed close leaves no board behind, and
// the channel, the selectors and every member are released in any case.
CBoardClient::~CBoardClient() {
  DestroyModules();
  try {
    CloseBoard();
  } catch (...) {
    // Nothing to report to and nothing left to do: see above.
  }
  ReleaseConnection();
}

void CBoardClient::ConnectSelectors() {
  RequireChannel();
  endpoints_.push_back(channel_->GetEndpoint());
  readSelector_->SetReadEndpoints(&endpoints_);
  readWriteSelector_->SetReadEndpoints(&endpoints_);
  readWriteSelector_->SetWriteEndpoints(&endpoints_);
}

// The scheduler greets first; a silent scheduler keeps us waiting in
// one-second passes, a closed connection ends the wait.
void CBoardClient::WaitForGreeting() {
  MessageQueue received;
  while (received.empty()) {
    if (!channel_->ServiceRead()) throw Cpp::CExceptionIo();
    channel_->ServiceWrite();
    // A greeting that is already here needs no wait (the read that brought
    // it has been collected, so the wait would sit out the whole pass).
    if (channel_->NoMessageReady()) readSelector_->Wait(kGreetingPassMicroseconds);
    channel_->ReceiveMessages(received);
  }
  const SchedulerMessage& greeting = received.front();
  const Version version{greeting.Byte(kGreetingMajor), greeting.Byte(kGreetingMinor), greeting.Byte(kGreetingBuild)};
  if (version.major != kSupportedSchedulerVersion.major || version.minor != kSupportedSchedulerVersion.minor) {
    throw Cpp::CExceptionSchedulerVersion(version, kSupportedSchedulerVersion);
  }
  schedulerVersion_ = version;
  if (greeting.Byte(kGreetingBusy) == 1) throw Cpp::CExceptionSchedulerBusy();
  // Whatever came with the greeting is dropped with it.
}

// Slot 4 first, slot 1 last; a module may still use the client while it goes.
void CBoardClient::DestroyModules() {
  busWatcher_.reset();
  masterModule_.reset();
  captureModule_.reset();
  recorder_.reset();
}

void CBoardClient::ReleaseConnection() {
  channel_.reset();
  readSelector_.reset();
  readWriteSelector_.reset();
}

void CBoardClient::RequireChannel() const {
  if (!channel_) throw Cpp::CExceptionIo();
}

void CBoardClient::SendMessage(const SchedulerMessage& message) {
  RequireChannel();
  MessageQueue one{message};
  if (!channel_->SendMessages(one)) throw Cpp::CExceptionIo();
}

void CBoardClient::FlushSend() {
  RequireChannel();
  if (!channel_->ServiceWrite()) {
    boardOpen_ = 0;
    throw Cpp::CExceptionIo();
  }
}

// Handlers may send and wait themselves, so Poll re-enters: every batch
// lives in its own local queue.
void CBoardClient::Poll() {
  RequireChannel();
  if (!channel_->ServiceRead()) {
    boardOpen_ = 0;
    throw Cpp::CExceptionIo();
  }
  MessageQueue batch;
  channel_->ReceiveMessages(batch);
  HandleBoardListMessages(batch);
  CollectAcknowledgements(batch);
  HandleBoardStatusMessages(batch);
  for (int slot = 1; slot <= 4; ++slot) {
    if (BoardModule* module = ModuleInSlot(slot)) module->HandleMessages(batch);
  }
}

void CBoardClient::WaitForMessages(std::int32_t timeoutMicroseconds) {
  RequireChannel();
  FlushSend();
  // While bytes wait to be sent, a finished write must end the wait too.
  I2cScheduler::CSelectEndpoints& selector = channel_->SendQueueEmpty() ? *readSelector_ : *readWriteSelector_;
  if (!selector.Wait(timeoutMicroseconds)) throw Cpp::CExceptionIo();
  Poll();
}

void CBoardClient::CollectAcknowledgements(const MessageQueue& batch) {
  if (!collectingAcks_) return;
  for (const SchedulerMessage& record : batch) {
    if (record.Code() == I2cScheduler::FromScheduler::kAcknowledgement) acknowledgements_.push_back(record.U32At(4));
  }
}

const BoardInfo& CBoardClient::GetOpenedBoardInfo() const {
  if (!boardOpen_) throw Cpp::CExceptionDeviceOpen();
  return openedBoard_;
}

std::uint16_t CBoardClient::GetI2cVcc() {
  if (!boardOpen_) throw Cpp::CExceptionDeviceOpen();
  FlushSend();
  Poll();
  return i2cVcc_;
}

BoardModule* CBoardClient::ModuleInSlot(int slot) const {
  switch (slot) {
    case 1: return recorder_.get();
    case 2: return captureModule_.get();
    case 3: return masterModule_.get();
    case 4: return busWatcher_.get();
    default: return nullptr;
  }
}

std::unique_ptr<BoardModule> CBoardClient::ReplaceModule(int slot, std::unique_ptr<BoardModule> module) {
  switch (slot) {
    case 1: recorder_.swap(module); break;
    case 2: captureModule_.swap(module); break;
    case 4: busWatcher_.swap(module); break;
    default: throw std::invalid_argument("module slot must be 1, 2 or 4");
  }
  return module;
}

void CBoardClient::RunOpenHooks() {
  for (int slot = 1; slot <= 4; ++slot) {
    if (BoardModule* module = ModuleInSlot(slot)) module->OnBoardOpened();
  }
}

// During destruction all slots are already empty, so no hook runs then.
void CBoardClient::RunCloseHooks() {
  for (int slot = 1; slot <= 4; ++slot) {
    if (BoardModule* module = ModuleInSlot(slot)) module->OnBoardClosed();
  }
}

}  // namespace zavik::I2cApi
