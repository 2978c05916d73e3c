#include "scripted_scheduler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace zavik::I2cApi::Testing {

using I2cScheduler::kMessageSize;

SchedulerMessage Greeting(std::uint8_t major, std::uint8_t minor, std::uint8_t build, std::uint8_t busy) {
  SchedulerMessage m = Record(1);
  m.SetByte(4, major);
  m.SetByte(5, minor);
  m.SetByte(6, build);
  m.SetByte(8, busy);
  return m;
}

ScriptedScheduler::~ScriptedScheduler() {
  for (const SchedulerMessage& record : unread_) ADD_FAILURE() << "unexpected record, code " << record.Code();
  for (const Step& step : steps_) {
    if (step.kind == Step::kExpect) ADD_FAILURE() << "the client never sent code " << step.code;
    if (step.kind == Step::kSend || step.kind == Step::kPause) ADD_FAILURE() << "the script did not run to its end";
  }
  if (wire_) wire_->DetachPeer();
}

I2cScheduler::SchedulerLink ScriptedScheduler::Connect() {
  wire_ = std::make_shared<I2cScheduler::MemoryWire>(*this);
  Run(false);
  return I2cScheduler::ConnectMemoryLink(wire_);
}

ScriptedScheduler& ScriptedScheduler::Send(const Records& records, std::size_t piece) {
  std::vector<std::uint8_t> bytes;
  for (const SchedulerMessage& m : records) bytes.insert(bytes.end(), m.bytes, m.bytes + kMessageSize);
  if (piece == 0) piece = bytes.size();
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    SendBytes(std::vector<std::uint8_t>(from, from + static_cast<std::ptrdiff_t>(std::min(piece, bytes.size() - at))));
  }
  return *this;
}

ScriptedScheduler& ScriptedScheduler::SendBytes(const std::vector<std::uint8_t>& bytes) {
  return Add({Step::kSend, bytes});
}

ScriptedScheduler& ScriptedScheduler::Expect(std::uint32_t code, std::vector<std::uint8_t> payload) {
  return Add({Step::kExpect, std::move(payload), code});
}

ScriptedScheduler& ScriptedScheduler::Pause() { return Add({Step::kPause, {}}); }

ScriptedScheduler& ScriptedScheduler::Hangup() { return Add({Step::kHangup, {}}); }

ScriptedScheduler& ScriptedScheduler::Add(Step step) {
  steps_.push_back(std::move(step));
  if (wire_) Run(false);
  return *this;
}

void ScriptedScheduler::FromClient(const std::uint8_t* bytes, std::size_t count) {
  input_.insert(input_.end(), bytes, bytes + count);
  while (input_.size() >= kMessageSize) {
    SchedulerMessage record;
    std::copy_n(input_.begin(), kMessageSize, record.bytes);
    input_.erase(input_.begin(), input_.begin() + kMessageSize);
    unread_.push_back(record);
    log_.push_back(record);
  }
  Run(false);
}

// A wait that moves the script on is what Pause is for; one that cannot
// would be repeated for ever by the client's waiting loops.
void ScriptedScheduler::ClientIdle(std::int32_t) {
  if (Run(true)) return;
  if (!steps_.empty()) {
    ADD_FAILURE() << "the client waits for an answer while the script waits for code " << steps_.front().code;
  }
  wire_->Hangup();
}

bool ScriptedScheduler::Run(bool idleWait) {
  bool progressed = false;
  while (!steps_.empty()) {
    const Step& step = steps_.front();
    if (step.kind == Step::kPause) {
      if (!idleWait) break;
      idleWait = false;
    } else if (step.kind == Step::kExpect) {
      if (unread_.empty()) break;
      Check(step, unread_.front());
      unread_.pop_front();
    } else if (step.kind == Step::kSend) {
      wire_->Deliver(step.bytes.data(), step.bytes.size());
    } else {
      wire_->Hangup();
    }
    steps_.pop_front();
    progressed = true;
  }
  return progressed;
}

void ScriptedScheduler::Check(const Step& expected, const SchedulerMessage& record) {
  EXPECT_EQ(record.Code(), expected.code) << "record " << log_.size() - unread_.size() + 1 << " of the client";
  for (std::size_t i = 0; i < expected.bytes.size(); ++i) {
    EXPECT_EQ(record.Byte(4 + i), expected.bytes[i]) << "byte " << 4 + i << " of code " << expected.code;
  }
}

}  // namespace zavik::I2cApi::Testing
