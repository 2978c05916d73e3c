// Board open and close of CBoardClient: the version test before an open, the
// acknowledged open, close and parallel-port exchanges, and the board status
// handler with its "board does not respond" path.

#include "api/board_client.h"

#include "api/exceptions.h"
#include "scheduler_link/message_codes.h"

namespace zavik::I2cApi {

using I2cScheduler::MessageQueue;
using I2cScheduler::SchedulerMessage;

namespace {

constexpr std::int32_t kLastParallelPort = 2;

SchedulerMessage OpenRequest(const BoardInfo& board) {
  SchedulerMessage m = SchedulerMessage::WithCode(I2cScheduler::ToScheduler::kOpenBoard);
  m.SetU16At(4, board.boardNumber);
  m.SetByte(6, static_cast<std::uint8_t>(board.boardType));
  return m;
}

SchedulerMessage ParallelPortRequest(std::int32_t port, bool enable) {
  SchedulerMessage m = SchedulerMessage::WithCode(I2cScheduler::ToScheduler::kParallelPort);
  m.SetByte(4, static_cast<std::uint8_t>(port));
  m.SetByte(5, enable ? 1 : 0);
  return m;
}

std::uint32_t FlagPairState(bool a, bool b) {
  if (a && b) return 4;
  if (b) return 3;
  if (a) return 2;
  return 1;
}

}  // namespace

void CBoardClient::OpenBoard(const BoardInfo& board) {
  RequireChannel();
  if (boardOpen_) {
    if (openedBoard_.boardNumber == board.boardNumber && openedBoard_.boardType == board.boardType) return;
    CloseBoard();
  }
  CheckBoardVersions(board);
  SendMessage(OpenRequest(board));
  collectingAcks_ = 1;
  i2cVccReceived_ = 0;
  // The open is complete once both the acknowledgement and a Vcc report have
  // arrived, in either order.
  while (collectingAcks_ || !i2cVccReceived_) {
    WaitForMessages(kAnswerPassMicroseconds);
    const std::uint32_t answer = TakeAnswer(I2cScheduler::Acknowledgement::kOpened, I2cScheduler::Acknowledgement::kOpenRefused);
    if (answer == I2cScheduler::Acknowledgement::kOpened) boardOpen_ = 1;
    if (answer == I2cScheduler::Acknowledgement::kOpenRefused) throw Cpp::CExceptionOpen();
  }
  flagPairState_ = 0;
  statusBytes_[7] = 0;
  if (!FindBoard(board.boardNumber, board.boardType)) {
    // The scheduler opened a board our list does not know: refresh the list.
    std::vector<BoardInfo> refreshed;
    EnumerateBoards(refreshed);
    FindBoard(board.boardNumber, board.boardType);
  }
  RunOpenHooks();
}

// Versions are compared per component present in both maps, in map order;
// the first one that is too old is reported.
void CBoardClient::CheckBoardVersions(const BoardInfo& board) {
  for (const auto& [label, installed] : board.installedVersions) {
    const auto required = board.requiredVersions.find(label);
    if (required != board.requiredVersions.end() && installed < required->second) {
      throw Cpp::CExceptionDriverVersion(label, installed, required->second);
    }
  }
}

void CBoardClient::CloseBoard() {
  if (!boardOpen_ || !channel_) return;
  boardOpen_ = 0;
  SendMessage(SchedulerMessage::WithCode(I2cScheduler::ToScheduler::kCloseBoard));
  collectingAcks_ = 1;
  do {
    WaitForMessages(kAnswerPassMicroseconds);
    TakeAnswer(I2cScheduler::Acknowledgement::kClosed, I2cScheduler::Acknowledgement::kClosed);
  } while (collectingAcks_);
  RunCloseHooks();
}

void CBoardClient::SetParallelPort(std::int32_t port, bool enable) {
  RequireChannel();
  if (port < 0 || port > kLastParallelPort) throw Cpp::CExceptionParallelPort();
  SendMessage(ParallelPortRequest(port, enable));
  collectingAcks_ = 1;
  do {
    WaitForMessages(kAnswerPassMicroseconds);
    if (TakeAnswer(I2cScheduler::Acknowledgement::kPortDone, I2cScheduler::Acknowledgement::kPortRefused) == I2cScheduler::Acknowledgement::kPortRefused) {
      throw Cpp::CExceptionParallelPort();
    }
  } while (collectingAcks_);
}

// Values nobody waits for are dropped from the front. An awaited value ends
// the collection and empties the queue; it is returned, 0 when none came.
std::uint32_t CBoardClient::TakeAnswer(std::uint32_t answer, std::uint32_t otherAnswer) {
  while (!acknowledgements_.empty()) {
    const std::uint32_t value = acknowledgements_.front();
    if (value == answer || value == otherAnswer) {
      collectingAcks_ = 0;
      acknowledgements_.clear();
      return value;
    }
    acknowledgements_.pop_front();
  }
  return 0;
}

bool CBoardClient::FindBoard(std::uint16_t boardNumber, std::uint32_t boardType) {
  for (const BoardInfo& known : boards_) {
    if (known.boardNumber == boardNumber && known.boardType == boardType) {
      openedBoard_ = known;
      return true;
    }
  }
  return false;
}

void CBoardClient::HandleBoardStatusMessages(const MessageQueue& batch) {
  for (const SchedulerMessage& record : batch) {
    if (record.Code() == I2cScheduler::FromScheduler::kAcknowledgement && record.U32At(4) == I2cScheduler::Acknowledgement::kBoardLost) {
      // Closes from inside this poll when a board is open; the rest of the
      // batch is not looked at.
      CloseBoard();
      throw Cpp::CExceptionHardwareIo();
    }
    ApplyStatusRecord(record);
  }
}

void CBoardClient::ApplyStatusRecord(const SchedulerMessage& record) {
  switch (record.Code()) {
    case I2cScheduler::FromScheduler::kI2cVcc:
      i2cVcc_ = record.U16At(4);
      i2cVccReceived_ = 1;
      break;
    case I2cScheduler::FromScheduler::kStatusWords:
      statusWords_[0] = record.U32At(4);
      statusWords_[1] = record.U32At(8);
      break;
    case I2cScheduler::FromScheduler::kStatusBytes:
      statusBytes_[2] = record.Byte(4);
      statusBytes_[3] = record.Byte(5);
      statusBytes_[4] = record.Byte(6);
      statusBytes_[5] = record.Byte(8);
      statusBytes_[6] = record.Byte(7);
      break;
    case I2cScheduler::FromScheduler::kStatusPair:
      statusBytes_[0] = record.Byte(4);
      statusBytes_[1] = record.Byte(5);
      break;
    case I2cScheduler::FromScheduler::kFlagPair:
      flagPairState_ = FlagPairState(record.Byte(4) == 1, record.Byte(5) == 1);
      break;
    case I2cScheduler::FromScheduler::kStatusByte:
      statusBytes_[7] = record.Byte(4);
      break;
    default:
      break;
  }
}

}  // namespace zavik::I2cApi
