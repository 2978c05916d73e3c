#pragma once
// A scheduler played by a script, for what the simulator never does: streams
// cut anywhere or garbled, records at odd moments, answers held back, a
// connection closed at a chosen point. It runs in the test's own thread,
// over an in-memory link: whenever the client writes or waits with nothing
// to read, and whenever the test adds a step, the script runs as far as it
// can. Steps, in order:
//   Send(records[, piece])  the records as one segment the client reads in
//                           one read (or cut into segments of piece bytes)
//   Expect(code[, payload]) the client's next record has this code (and these
//                           bytes from byte 4 on); blocks until it comes
//   Pause()                 what follows waits until the client has waited
//                           once with nothing to read
//   Hangup()                the client reads what was sent, then finds the
//                           connection closed
// A wait with nothing to read while the script blocks on Expect fails the
// test and closes the connection; once the script has run out, such a wait
// closes it (the scheduler has nothing more to say). At destruction every
// record the client sent must have been expected and every step run.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "bus_reports.h"
#include "scheduler_link/memory/memory_wire.h"
#include "scheduler_link/scheduler_link.h"

namespace zavik::I2cApi::Testing {

using Records = MessageQueue;

inline Records operator+(Records front, const Records& back) {
  front.insert(front.end(), back.begin(), back.end());
  return front;
}

// Version 1.6.x, not busy, unless told otherwise.
SchedulerMessage Greeting(std::uint8_t major = 1, std::uint8_t minor = 6, std::uint8_t build = 2,
                          std::uint8_t busy = 0);

class ScriptedScheduler : public I2cScheduler::MemoryPeer {
 public:
  ScriptedScheduler() = default;
  ~ScriptedScheduler() override;
  ScriptedScheduler(const ScriptedScheduler&) = delete;
  ScriptedScheduler& operator=(const ScriptedScheduler&) = delete;

  // The link for one client; the script runs up to its first block.
  I2cScheduler::SchedulerLink Connect();

  ScriptedScheduler& Send(const Records& records, std::size_t piece = 0);
  ScriptedScheduler& SendBytes(const std::vector<std::uint8_t>& bytes);
  ScriptedScheduler& Expect(std::uint32_t code, std::vector<std::uint8_t> payload = {});
  ScriptedScheduler& Answer(std::uint32_t code, const Records& reply) { return Expect(code).Send(reply); }
  ScriptedScheduler& Pause();
  ScriptedScheduler& Hangup();

  // Every record the client has sent so far.
  const Records& Log() const { return log_; }

 private:
  struct Step {
    enum Kind { kSend, kExpect, kPause, kHangup } kind;
    std::vector<std::uint8_t> bytes;  // kSend: one segment; kExpect: payload
    std::uint32_t code = 0;
  };

  void FromClient(const std::uint8_t* bytes, std::size_t count) override;
  void ClientIdle(std::int32_t milliseconds) override;
  ScriptedScheduler& Add(Step step);
  // Runs steps until one blocks; an idle wait releases one Pause. Returns
  // whether any step ran.
  bool Run(bool idleWait);
  void Check(const Step& expected, const SchedulerMessage& record);

  std::shared_ptr<I2cScheduler::MemoryWire> wire_;
  std::deque<Step> steps_;
  std::vector<std::uint8_t> input_;
  std::deque<SchedulerMessage> unread_;
  Records log_;
};

}  // namespace zavik::I2cApi::Testing
