#pragma once
// Follows the scheduler's bus reports during a master transfer and moves the
// transfer's status entries, one after the other, through their states:
// counts acknowledged bytes, collects read bytes, notices the end of each
// message and records errors. The master module's evaluation waits until an
// entry is finished (kind 0) and then reads its count, phase and result.

#include <cstdint>
#include <vector>

#include "api/bus_event_decoder.h"
#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi {

// Kinds of a status entry; tracking sets kind to kFinished when the item ends.
constexpr std::uint32_t kKindFinished = 0;
constexpr std::uint32_t kKindConfiguration = 1;
constexpr std::uint32_t kKindWrite = 2;
constexpr std::uint32_t kKindRead = 3;

// Results of a status entry.
constexpr std::uint32_t kResultArbitrationLost = 0;
constexpr std::uint32_t kResultProtocolError = 1;
constexpr std::uint32_t kResultVccTooLow = 2;
constexpr std::uint32_t kResultBusTimeout = 3;
constexpr std::uint32_t kResultNoError = 4;

// Tracking states of a status entry.
enum Phase : std::uint32_t {
  Waiting = 0,
  ConfigAccepted = 1,
  MasterCode = 2,
  MasterCodeNacked = 3,
  StartAnnounced = 4,
  Started = 5,
  AddressSent = 6,
  DataSent = 7,
  Acked = 8,
  Nacked = 9,
  Stopped = 10,
  Ended = 11,
  Unexpected = 12,
};

constexpr std::uint32_t kExpectedAtStop = 0xFFFFFFFFu;  // the last message ends at its STOP

struct TransferStatus {
  std::int32_t address = -1;          // 10-bit messages: the address; else -1
  std::uint32_t count = 0;            // bus bytes counted so far, address bytes included
  std::uint32_t expected = 0;         // count at which a message that is not the last is complete
  bool isLast = false;
  std::uint32_t kind = kKindFinished;
  std::uint32_t phase = Waiting;
  std::uint32_t result = kResultNoError;
  std::vector<std::uint8_t>* readData = nullptr;  // read messages: where received bytes go
};

class MasterTracker {
 public:
  std::vector<TransferStatus>& Statuses() { return statuses_; }
  const std::vector<TransferStatus>& Statuses() const { return statuses_; }
  std::uint32_t Current() const { return current_; }
  bool IsRunning() const { return running_; }

  // Tracking starts at entry 0 and acts on batches until it is stopped.
  void Start();
  void Stop() { running_ = false; }
  // Received bytes go nowhere from now on; phases and counts still move.
  void DetachReadData();

  // One poll's batch of raw records. Ignored entirely (not even decoded)
  // while not running.
  void HandleMessages(const I2cScheduler::MessageQueue& batch);

  // One decoded event applied to the current entry, then the advance to the
  // next entry when the current one has finished.
  void ApplyEvent(const I2cScheduler::SchedulerMessage& event);

 private:
  void AdvanceAfterFinish();

  std::vector<TransferStatus> statuses_;
  std::uint32_t current_ = 0;
  bool running_ = false;
  BusEventDecoder decoder_;
  I2cScheduler::MessageQueue events_;  // reused for every batch
};

}  // namespace zavik::I2cApi
