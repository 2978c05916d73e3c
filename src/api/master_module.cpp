#include "api/master_module.h"

#include <algorithm>

#include "api/board_client.h"
#include "api/exceptions.h"
#include "api/master_evaluation.h"
#include "api/master_list_validation.h"
#include "api/master_transfer_plan.h"

namespace zavik::I2cApi {

using Cpp::CMasterMessage;
using Cpp::CMasterMessageRx;
using Cpp::CMasterMessageTx;
using Cpp::MasterMessageList;

namespace {

bool Contains(const std::vector<std::uint32_t>& values, std::uint32_t value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

// Before each transfer: no acknowledged bytes, nothing received.
void ResetOutcomes(const MasterMessageList& messages) {
  for (CMasterMessage* m : messages) {
    if (auto* write = dynamic_cast<CMasterMessageTx*>(m)) write->SetAcknowledgedCount(0);
    if (auto* read = dynamic_cast<CMasterMessageRx*>(m)) read->GetData().clear();
  }
}

}  // namespace

CMasterModule::CMasterModule(CBoardClient& client) : client_(client) { Reset(); }

CMasterModule::~CMasterModule() = default;

void CMasterModule::Reset() {
  bitrate_ = kDefaultBitrate;
  highSpeedBitrate_ = 0;
  tracker_.Stop();
}

void CMasterModule::Stop() { tracker_.Stop(); }

void CMasterModule::SetBitrate(std::uint32_t rate) {
  CheckReady();
  CheckNotRunning();
  if (!Contains(client_.GetOpenedBoardInfo().bitrates, rate)) throw Cpp::CExceptionMasterInvalidBitrate();
  bitrate_ = rate;
}

void CMasterModule::SetHighSpeedBitrate(std::uint32_t rate) {
  CheckReady();
  CheckNotRunning();
  // 0 switches high-speed mode off and is always accepted.
  if (rate != 0 && !Contains(client_.GetOpenedBoardInfo().highSpeedBitrates, rate)) {
    throw Cpp::CExceptionMasterInvalidBitrate();
  }
  highSpeedBitrate_ = rate;
}

void CMasterModule::TransferOne(CMasterMessage& message) { Transfer(MasterMessageList{&message}); }

void CMasterModule::Transfer(const MasterMessageList& messages) {
  CheckReady();
  if (messages.empty()) return;
  ValidateMasterList(client_.GetOpenedBoardInfo(), messages);
  ResetOutcomes(messages);
  // The read messages belong to the caller and may be gone once Transfer
  // has left, by any way out; tracking can still run on afterwards (a
  // rejected configuration leaves it running), so it must never again
  // reach into them.
  const ReadDataDetacher detach{tracker_};
  SendTransfer(messages);
  // A rejected configuration leaves the running flag to tracking.
  AwaitConfiguration();
  try {
    EvaluateAll(messages);
  } catch (...) {
    tracker_.Stop();
    throw;
  }
}

void CMasterModule::HandleMessages(const I2cScheduler::MessageQueue& batch) { tracker_.HandleMessages(batch); }

void CMasterModule::CheckReady() {
  if (!client_.IsBoardOpen()) throw Cpp::CExceptionDeviceOpen();
  const BoardInfo& board = client_.GetOpenedBoardInfo();
  if (!board.MasterTxSupported() && !board.MasterRxSupported()) throw Cpp::CExceptionMasterNotSupported();
  client_.FlushSend();
  client_.Poll();
  if (client_.GetI2cVcc() < kMinimumVcc) throw Cpp::CExceptionI2cVcc(client_.GetI2cVcc());
}

void CMasterModule::CheckNotRunning() const {
  if (tracker_.IsRunning()) throw Cpp::CExceptionMasterRunning();
}

void CMasterModule::SendTransfer(const MasterMessageList& messages) {
  records_.clear();
  PlanTransfer(messages, bitrate_, highSpeedBitrate_, tracker_.Statuses(), records_, plan_);
  tracker_.Start();
  for (const I2cScheduler::SchedulerMessage& record : records_) client_.SendMessage(record);
  records_.clear();
}

void CMasterModule::AwaitConfiguration() {
  if (WaitUntilFinished(0).phase != ConfigAccepted) throw Cpp::CExceptionMasterInvalidBitrate();
}

// In list order, entry by entry. An address-only write that was put in front
// of a 10-bit read is judged like any other write: when its slave does not
// answer, the read behind it never starts, so its failure ends the transfer.
void CMasterModule::EvaluateAll(const MasterMessageList& messages) {
  const VccReader vcc = [this] { return ReadVcc(); };
  for (std::size_t i = 0; i < messages.size(); ++i) {
    const PlannedMessage& planned = plan_[i];
    if (auto* write = dynamic_cast<CMasterMessageTx*>(messages[i])) {
      EvaluateWrite(WaitUntilFinished(planned.entry), *write, vcc);
    } else if (auto* read = dynamic_cast<CMasterMessageRx*>(messages[i])) {
      if (planned.addressWriteEntry != 0) {
        CMasterMessageTx addressOnly(read->GetAddress(), {});
        EvaluateWrite(WaitUntilFinished(planned.addressWriteEntry), addressOnly, vcc);
      }
      EvaluateRead(WaitUntilFinished(planned.entry), *read, vcc);
    }
  }
}

// No overall limit: the scheduler's reports or a broken connection end it.
const TransferStatus& CMasterModule::WaitUntilFinished(std::size_t entry) {
  while (tracker_.Statuses()[entry].kind != kKindFinished) client_.WaitForMessages(kAnswerPassMicroseconds);
  return tracker_.Statuses()[entry];
}

std::uint16_t CMasterModule::ReadVcc() { return client_.GetI2cVcc(); }

}  // namespace zavik::I2cApi
