#pragma once
// The master module (module slot 3): bitrate settings, validation of message
// lists against the opened board, the transfer as records 19, 16, 18 and 17,
// and the tracking of the scheduler's bus reports into per-message outcomes.

#include <cstdint>
#include <memory>
#include <vector>

#include "api/board_module.h"
#include "api/master_message.h"

namespace zavik::I2cApi {

class CBoardClient;
class BusEventDecoder;

struct TransferStatus {
  std::int32_t address = -1;         // 10-bit messages: the address; else -1
  std::uint32_t count = 0;           // bus bytes counted so far, address bytes included
  std::uint32_t expected = 0;        // count at which a non-last message is complete
  bool isLast = false;
  std::uint32_t kind = 0;            // 1 configuration, 2 write, 3 read; 0 finished
  std::uint32_t phase = 0;
  std::uint32_t result = 4;          // 4 no error, 0 arbitration, 1 protocol, 2 Vcc, 3 timeout
  std::vector<std::uint8_t>* readData = nullptr;
};

class CMasterModule : public BoardModule {
 public:
  explicit CMasterModule(CBoardClient& client);
  ~CMasterModule() override;

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
  bool IsRunning() const { return running_; }
  const std::vector<TransferStatus>& GetStatuses() const { return statuses_; }

 private:
  void CheckReady();
  void ValidateList(const Cpp::MasterMessageList& messages);
  void SendWrite(const Cpp::CMasterMessageTx& message, std::size_t entry, bool isLast);
  void SendRead(Cpp::CMasterMessageRx& message, std::size_t entry, bool isLast);
  void EvaluateWrite(std::size_t entry, Cpp::CMasterMessageTx& message);
  void EvaluateRead(std::size_t entry, Cpp::CMasterMessageRx& message);
  void WaitUntilFinished(std::size_t entry);
  void Track(const I2cScheduler::SchedulerMessage& event);

  CBoardClient& client_;
  std::uint32_t bitrate_ = 100000;
  std::uint32_t highSpeedBitrate_ = 0;
  std::vector<TransferStatus> statuses_;
  std::uint32_t current_ = 0;
  bool running_ = false;
  std::unique_ptr<BusEventDecoder> decoder_;
};

}  // namespace zavik::I2cApi
