#pragma once
// A scheduler played by a test: a thread that accepts one connection on an
// ephemeral port of 127.0.0.1, greets as version 1.6, answers the board list,
// open and close requests for one board, records every record the library
// sends, and hands the master records to a script that decides the bus
// reports. POSIX only.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "api/board_info.h"
#include "scheduler_link/scheduler_message.h"

namespace zavik::I2cApi::Testing {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

// One master transfer as received: the configuration record and what followed it.
using TransferRecords = std::vector<SchedulerMessage>;

// True when the records hold a whole transfer: 19, then messages up to one
// whose header carries the last flag, with all of its data records.
bool TransferComplete(const TransferRecords& records);

// Bus reports of a transfer on a bus where every slave answers: 13 {30}, then
// per message 22, START, address byte(s) with acknowledge, the written bytes
// acknowledged or the read bytes (0xC0, 0xC1, ...) acknowledged by the master
// except the last, and STOP after the last message. A slave whose 7-bit
// address (or 10-bit address) is in absent does not acknowledge its address
// byte; the transfer then ends with STOP. With a high-speed bitrate each
// message begins with the master code 0x08, not acknowledged, and a repeated
// START.
MessageQueue HealthyBus(const TransferRecords& records, const std::vector<int>& absent = {});

class ScriptedPeer {
 public:
  using TransferScript = std::function<MessageQueue(const TransferRecords&)>;

  ScriptedPeer(BoardInfo board, std::uint16_t vccMillivolts, TransferScript script);
  ~ScriptedPeer();
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;

  std::uint16_t Port() const { return port_; }
  // Everything received so far, in order.
  std::vector<SchedulerMessage> Received();
  // The master records (16, 17, 18, 19) received so far, in order.
  std::vector<SchedulerMessage> MasterRecords();
  void ClearReceived();
  // Sends records now, outside any request.
  void Push(const MessageQueue& records);
  // Ends the connection, as a scheduler that goes away.
  void Disconnect();

 private:
  void Serve();
  void Answer(const SchedulerMessage& record, MessageQueue& replies);
  void SendAll(const MessageQueue& records);

  BoardInfo board_;
  std::uint16_t vcc_;
  TransferScript script_;
  int listener_ = -1;
  int connection_ = -1;
  std::uint16_t port_ = 0;
  std::mutex mutex_;
  std::vector<SchedulerMessage> received_;
  TransferRecords transfer_;
  std::thread thread_;
};

// A board that accepts everything the tests send: type 2, master write and
// read, bitrates 100 kHz and 400 kHz, high-speed 3.4 MHz, reads up to 300 bytes.
BoardInfo TestBoard(std::uint32_t boardType = 2);

}  // namespace zavik::I2cApi::Testing
