#include "api/master_list_validation.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "api/exceptions.h"

namespace zavik::I2cApi {
namespace {

using namespace Cpp;

BoardInfo Board(std::uint32_t type, bool tx = true, bool rx = true) {
  BoardInfo board;
  board.boardType = type;
  board.capabilityFlags[8] = tx ? 1 : 0;
  board.capabilityFlags[9] = rx ? 1 : 0;
  board.maxReadLength = 256;
  return board;
}

// Owns the messages of one list under test.
class Messages {
 public:
  Messages& Write(std::size_t size, std::uint16_t address = 0x50, bool tenBit = false) {
    owned_.push_back(std::make_unique<CMasterMessageTx>(CI2cAddress(address, tenBit), std::vector<std::uint8_t>(size, 0xAB)));
    list_.push_back(owned_.back().get());
    return *this;
  }
  Messages& Read(std::uint32_t count, std::uint16_t address = 0x50, bool tenBit = false) {
    auto read = std::make_unique<CMasterMessageRx>();
    read->SetAddress(CI2cAddress(address, tenBit));
    read->SetRequestedCount(count);
    list_.push_back(read.get());
    owned_.push_back(std::move(read));
    return *this;
  }
  const MasterMessageList& List() const { return list_; }

 private:
  std::vector<std::unique_ptr<CMasterMessage>> owned_;
  MasterMessageList list_;
};

void ExpectRefused(const BoardInfo& board, const Messages& m) {
  EXPECT_THROW(ValidateMasterList(board, m.List()), CExceptionMasterInvalidTransfer);
}

void ExpectAccepted(const BoardInfo& board, const Messages& m) {
  EXPECT_NO_THROW(ValidateMasterList(board, m.List()));
}

TEST(ValidateMasterList, MessageKindsNeedTheirCapability) {
  EXPECT_THROW(ValidateMasterList(Board(2, false, true), Messages().Read(1).Write(1).List()),
               CExceptionMasterNotSupported);
  EXPECT_THROW(ValidateMasterList(Board(2, true, false), Messages().Write(1).Read(1).List()),
               CExceptionMasterNotSupported);
  ExpectAccepted(Board(2, true, false), Messages().Write(1).Write(0));
  // Capabilities are checked before the board type's rules.
  EXPECT_THROW(ValidateMasterList(Board(3, true, false), Messages().Write(0).Read(1).List()),
               CExceptionMasterNotSupported);
}

TEST(ValidateMasterList, ReadLengthUpToTheBoardsMaximum) {
  ExpectAccepted(Board(2), Messages().Read(256));
  ExpectRefused(Board(2), Messages().Read(257));
  ExpectRefused(Board(2), Messages().Write(1).Read(0xFFFFFFFF));
}

TEST(ValidateMasterList, OtherBoardTypesAllowAnyCombination) {
  ExpectAccepted(Board(2), Messages().Read(1).Write(0).Read(2, 0x123, true).Write(3, 0x20));
  ExpectAccepted(Board(4), Messages().Write(9000));
}

TEST(ValidateMasterList, WriteReadBoardAllowsOnlyWriteThenRead) {
  const BoardInfo board = Board(3);
  ExpectAccepted(board, Messages().Write(1));
  ExpectAccepted(board, Messages().Read(1));
  ExpectAccepted(board, Messages().Write(2).Read(1));
  ExpectRefused(board, Messages().Write(0));
  ExpectRefused(board, Messages().Write(0).Read(1));
  ExpectRefused(board, Messages().Write(1).Read(1).Read(1));
  ExpectRefused(board, Messages().Read(1).Write(1));
  ExpectRefused(board, Messages().Write(1).Write(1));
}

TEST(ValidateMasterList, WriteReadBoardAddressCombinations) {
  const BoardInfo board = Board(3);
  ExpectAccepted(board, Messages().Write(1, 0x123, true).Read(1, 0x123, true));
  ExpectRefused(board, Messages().Write(1, 0x123, true).Read(1, 0x124, true));
  ExpectRefused(board, Messages().Write(1, 0x50).Read(1, 0x50, true));
  ExpectAccepted(board, Messages().Write(1, 0x123, true).Read(1, 0x23));
  ExpectAccepted(board, Messages().Write(1, 0x20).Read(1, 0x21));
}

TEST(ValidateMasterList, SingleFrameBoardLimitsTransmittedBytes) {
  const BoardInfo board = Board(1);
  ExpectAccepted(board, Messages().Write(8191));  // address byte + 8191 = 8192
  ExpectRefused(board, Messages().Write(8192));
  ExpectAccepted(board, Messages().Write(8190, 0x2A5, true));  // two address bytes
  ExpectRefused(board, Messages().Write(8191, 0x2A5, true));
  ExpectAccepted(board, Messages().Write(8188).Read(256, 0x123, true));  // 8189 + 3
  ExpectRefused(board, Messages().Write(8189).Read(256, 0x123, true));
  ExpectAccepted(board, Messages().Write(8189).Read(256, 0x23));  // 8190 + 1
}

TEST(ValidateMasterList, SingleFrameBoardReadsOnlyAtTheEnd) {
  const BoardInfo board = Board(1);
  ExpectAccepted(board, Messages().Write(1).Write(0).Read(1));
  ExpectRefused(board, Messages().Read(1).Write(1));
  ExpectRefused(board, Messages().Read(1).Read(1));
}

}  // namespace
}  // namespace zavik::I2cApi
