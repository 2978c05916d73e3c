// Board enumeration of CBoardClient: the list request, the reassembly of the
// list stream from nine-byte pieces and its decoding into BoardInfo records.

#include "api/board_client.h"

#include "api/board_list_decoder.h"
#include "scheduler_link/message_codes.h"

namespace zavik::I2cApi {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

void CBoardClient::EnumerateBoards(std::vector<BoardInfo>& boards) {
  boards.clear();
  enumerating_ = 1;
  SendMessage(SchedulerMessage::WithCode(I2cScheduler::ToScheduler::kBoardListRequest));
  try {
    while (enumerating_) WaitForMessages(kAnswerPassMicroseconds);
  } catch (...) {
    enumerating_ = 0;
    throw;
  }
  boards.insert(boards.end(), boards_.begin(), boards_.end());
}

void CBoardClient::HandleBoardListMessages(const MessageQueue& batch) {
  // Tested once: records after a code 21 of the same batch still count.
  if (!enumerating_) return;
  for (const SchedulerMessage& record : batch) {
    switch (record.Code()) {
      case I2cScheduler::FromScheduler::kBoardListBegin:
        boardListBytes_.clear();
        boardEntrySize_ = record.U32At(4);
        break;
      case I2cScheduler::FromScheduler::kBoardListData:
        boardListBytes_.insert(boardListBytes_.end(), record.bytes + 4, record.bytes + I2cScheduler::kMessageSize);
        break;
      case I2cScheduler::FromScheduler::kBoardListEnd:
        DecodeBoardList();
        enumerating_ = 0;
        break;
      default:
        break;
    }
  }
}

// A remainder shorter than one entry yields no record and is dropped.
void CBoardClient::DecodeBoardList() {
  boards_.clear();
  while (HoldsBoardEntry(boardListBytes_, boardEntrySize_)) boards_.push_back(TakeBoardEntry(boardListBytes_));
  boardListBytes_.clear();
}

}  // namespace zavik::I2cApi
