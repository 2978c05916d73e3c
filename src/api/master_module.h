#pragma once
// The master module (module slot 3 of the board client): bitrate settings,
// the readiness and capability checks, the transfer of a message list as
// records 19, 16, 18 and 17, and the evaluation of each message's tracked
// outcome into a result or an exception. Tracking itself is MasterTracker's.

#include <cstdint>
#include <vector>

#include "api/board_module.h"
#include "api/master_limits.h"
#include "api/master_message.h"
#include "api/master_tracker.h"
#include "api/master_transfer_plan.h"
#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi {

class CBoardClient;

class CMasterModule : public BoardModule {
 public:
  explicit CMasterModule(CBoardClient& client);
  ~CMasterModule() override;
  CMasterModule(const CMasterModule&) = delete;
  CMasterModule& operator=(const CMasterModule&) = delete;

  void Reset();
  void Stop();
  void SetBitrate(std::uint32_t rate);
  void SetHighSpeedBitrate(std::uint32_t rate);
  void Transfer(const Cpp::MasterMessageList& messages);
  void TransferOne(Cpp::CMasterMessage& message);

  void HandleMessages(const I2cScheduler::MessageQueue& batch) override;
  void OnBoardOpened() override { Reset(); }
  void OnBoardClosed() override { Stop(); }

  std::uint32_t GetBitrate() const { return bitrate_; }
  std::uint32_t GetHighSpeedBitrate() const { return highSpeedBitrate_; }
  bool IsRunning() const { return tracker_.IsRunning(); }
  const std::vector<TransferStatus>& GetStatuses() const { return tracker_.Statuses(); }

 private:
  void CheckReady();
  void CheckNotRunning() const;
  void SendTransfer(const Cpp::MasterMessageList& messages);
  void AwaitConfiguration();
  void EvaluateAll(const Cpp::MasterMessageList& messages);
  const TransferStatus& WaitUntilFinished(std::size_t entry);
  std::uint16_t ReadVcc();

  // Cuts every status entry loose from the caller's read messages when the
  // transfer is left, normally or by an exception.
  struct ReadDataDetacher {
    MasterTracker& tracker;
    ~ReadDataDetacher() { tracker.DetachReadData(); }
  };

  CBoardClient& client_;
  std::uint32_t bitrate_ = kDefaultBitrate;
  std::uint32_t highSpeedBitrate_ = 0;
  MasterTracker tracker_;               // statuses, current entry, running flag, decoder
  I2cScheduler::MessageQueue records_;  // reused for every transfer
  std::vector<PlannedMessage> plan_;    // where each message of the current transfer is tracked
};

}  // namespace zavik::I2cApi
