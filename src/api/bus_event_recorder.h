#pragma once
// Module slot 1 of the board client. It can keep queues of bus events (codes
// 0 to 8), status numbers (code 13) and code-26 values, each behind its own
// recording switch. Nothing in this library switches recording on, so every
// batch passes through it without effect; it still takes part in the resets
// at board open and close like every module.

#include <array>
#include <cstdint>
#include <deque>

#include "api/board_module.h"

namespace zavik::I2cApi {

class CBoardClient;

struct EventEntry {
  std::uint32_t kind = 0;  // the record code, 0 to 8
  std::uint8_t data = 0;   // kinds 4 (byte) and 7 (bit level) only
  std::uint32_t word1 = 0;
  std::uint32_t word2 = 0;
};

struct Code26Entry {
  std::uint8_t data = 0;
  std::uint32_t word1 = 0;
  std::uint32_t word2 = 0;
};

class BusEventRecorder : public BoardModule {
 public:
  explicit BusEventRecorder(CBoardClient& client);

  void HandleMessages(const I2cScheduler::MessageQueue& batch) override;
  void OnBoardOpened() override { ResetAtOpen(); }
  void OnBoardClosed() override { ResetAtClose(); }

  void ResetAtOpen();
  void ResetAtClose();

  const std::deque<std::uint32_t>& Values() const { return valueQueue_; }
  const std::deque<EventEntry>& Events() const { return eventQueue_; }
  const std::deque<Code26Entry>& Code26Values() const { return code26Queue_; }
  const std::array<std::uint8_t, 128>& AddressFlags7() const { return addressFlags7_; }
  const std::array<std::uint8_t, 1024>& AddressFlags10() const { return addressFlags10_; }

 private:
  void RecordValues(const I2cScheduler::MessageQueue& batch);
  void RecordCode26(const I2cScheduler::MessageQueue& batch);
  void RecordEvents(const I2cScheduler::MessageQueue& batch);

  bool recordValues_ = false;
  std::deque<std::uint32_t> valueQueue_;
  std::deque<EventEntry> eventQueue_;
  bool recordCode26_ = false;
  std::deque<Code26Entry> code26Queue_;
  bool recordEvents_ = false;
  std::array<std::uint8_t, 128> addressFlags7_{};
  std::array<std::uint8_t, 1024> addressFlags10_{};
};

}  // namespace zavik::I2cApi
