#include "api/master_list_validation.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
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

// A list written as "w<size> r<count>", each optionally "@<hex address>",
// with a trailing "t" for a 10-bit address (default 7-bit 0x50).
class Messages {
 public:
  explicit Messages(const std::string& text) {
    std::istringstream in(text);
    for (std::string t; in >> t;) {
      const std::size_t at = t.find('@');
      const std::uint32_t n = static_cast<std::uint32_t>(std::stoul(t.substr(1, at - 1)));
      const CI2cAddress address(at == std::string::npos ? 0x50 : std::stoi(t.substr(at + 1), nullptr, 16), t.back() == 't');
      if (t[0] == 'w') {
        owned_.push_back(std::make_unique<CMasterMessageTx>(address, std::vector<std::uint8_t>(n, 0xAB)));
      } else {
        auto read = std::make_unique<CMasterMessageRx>();
        read->SetAddress(address);
        read->SetRequestedCount(n);
        owned_.push_back(std::move(read));
      }
      list_.push_back(owned_.back().get());
    }
  }
  const MasterMessageList& List() const { return list_; }

 private:
  std::vector<std::unique_ptr<CMasterMessage>> owned_;
  MasterMessageList list_;
};

TEST(ValidateMasterList, MessageKindsNeedTheirCapability) {
  EXPECT_THROW(ValidateMasterList(Board(2, false, true), Messages("r1 w1").List()), CExceptionMasterNotSupported);
  EXPECT_THROW(ValidateMasterList(Board(2, true, false), Messages("w1 r1").List()), CExceptionMasterNotSupported);
  EXPECT_NO_THROW(ValidateMasterList(Board(2, true, false), Messages("w1 w0").List()));
  // Capabilities are checked before the board type's rules.
  EXPECT_THROW(ValidateMasterList(Board(3, true, false), Messages("w0 r1").List()), CExceptionMasterNotSupported);
}

TEST(ValidateMasterList, BoardTypeRules) {
  struct Case {
    std::uint32_t type;
    const char* list;
    bool accepted;
  };
  const std::vector<Case> cases{
      {2, "r256", true}, {2, "r257", false}, {2, "w1 r4294967295", false},  // maxReadLength
      {2, "r1 w0 r2@123t w3@20", true}, {4, "w9000", true},                 // any combination
      // Type 3: one write, one read, or a write then a read of the same slave.
      {3, "w1", true}, {3, "r1", true}, {3, "w2 r1", true}, {3, "w0", false}, {3, "w0 r1", false},
      {3, "w1 r1 r1", false}, {3, "r1 w1", false}, {3, "w1 w1", false},
      {3, "w1@123t r1@123t", true}, {3, "w1@123t r1@124t", false}, {3, "w1@50 r1@50t", false},
      {3, "w1@123t r1@23", true}, {3, "w1@20 r1@21", true},
      // Type 1: at most 8192 bytes on the bus (address bytes included), reads only at the end.
      {1, "w8191", true}, {1, "w8192", false}, {1, "w8190@2A5t", true}, {1, "w8191@2A5t", false},
      {1, "w8188 r256@123t", true}, {1, "w8189 r256@123t", false}, {1, "w8189 r256@23", true},
      {1, "w1 w0 r1", true}, {1, "r1 w1", false}, {1, "r1 r1", false},
  };
  for (const Case& c : cases) {
    const Messages m(c.list);
    if (c.accepted) {
      EXPECT_NO_THROW(ValidateMasterList(Board(c.type), m.List())) << c.type << ": " << c.list;
    } else {
      EXPECT_THROW(ValidateMasterList(Board(c.type), m.List()), CExceptionMasterInvalidTransfer) << c.type << ": " << c.list;
    }
  }
}

}  // namespace
}  // namespace zavik::I2cApi
