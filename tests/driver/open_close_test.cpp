// UrdOpen and UrdClose end to end against the scheduler simulator. Each
// suite belongs to one simulator bench (see CMakeLists.txt); the simulator's
// record file (I2CZAVIK_SIM_RECORD) shows what reached it.
//
// Only the public header and the standard library are used, so the same
// program runs natively and against the DLL under Wine. Natively the library
// is linked statically and the full last-error text is compared too; through
// UrdGetStatus only its first 49 characters arrive.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "i2czavik.h"

namespace {

const std::string kNoError = "No Error";
const std::string kUnknownError = "Unknown error";
const std::string kNoBoard = "No I2C board has been found.";
const std::string kNoScheduler = "The I2C scheduler does not respond.";

std::string StatusText() {
  char buffer[I2CZAVIK_STATUS_TEXT_SIZE];
  return UrdGetStatus(buffer);
}

// The export's result and its last-error text.
void ExpectOutcome(int result, int expectedResult, const std::string& expectedText) {
  EXPECT_EQ(result, expectedResult);
  EXPECT_EQ(StatusText(), expectedText.substr(0, I2CZAVIK_STATUS_TEXT_SIZE - 1));
}

std::string SchedulerVersionText(const std::string& version) {
  return "Wrong version of the I2C scheduler. The installed I2C scheduler has got the version number " + version +
         ", but the installed I2C API supports only I2C schedulers with a version number of 1.6.x.";
}

// The simulator's record file: "connect ID", "disconnect ID",
// "recv ID CODE HEX26". It is appended to, so each test looks only at the
// lines after its own mark.
class SimRecord {
 public:
  SimRecord() : mark_(AllLines().size()) {}

  static bool Available() { return std::getenv("I2CZAVIK_SIM_RECORD") != nullptr; }

  std::vector<std::string> Lines() const {
    const std::vector<std::string> all = AllLines();
    return std::vector<std::string>(all.begin() + static_cast<std::ptrdiff_t>(std::min(mark_, all.size())), all.end());
  }

  int Count(const std::string& kind) const {
    int n = 0;
    for (const std::string& line : Lines()) n += line.compare(0, kind.size() + 1, kind + " ") == 0;
    return n;
  }

  // Payload hex (bytes 0-12) of every received record with the code.
  std::vector<std::string> Received(unsigned code) const {
    std::vector<std::string> found;
    for (const std::string& line : Lines()) {
      std::istringstream in(line);
      std::string kind, id, hex;
      unsigned c = 0;
      if (in >> kind >> id >> c >> hex && kind == "recv" && c == code) found.push_back(hex);
    }
    return found;
  }

  // The simulator logs a disconnect when it notices it; give it a moment.
  bool WaitForCount(const std::string& kind, int n) const {
    for (int i = 0; i < 100 && Count(kind) < n; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return Count(kind) >= n;
  }

 private:
  static std::vector<std::string> AllLines() {
    std::vector<std::string> lines;
    const char* path = std::getenv("I2CZAVIK_SIM_RECORD");
    std::ifstream in(path == nullptr ? "" : path);
    for (std::string line; std::getline(in, line);)
      if (!line.empty()) lines.push_back(line);
    return lines;
  }

  std::size_t mark_;
};

// ------------------------------------------------ default bench: one board

TEST(OpenCloseDefaultBench, OpenSendsNoParallelPortCommandAndCloseTwiceFailsSecondTime) {
  ASSERT_TRUE(SimRecord::Available());
  SimRecord record;
  ExpectOutcome(UrdOpen(), 1, kNoError);
  EXPECT_EQ(record.Count("connect"), 1);
  EXPECT_EQ(record.Received(0).size(), 1u) << "one board list request";
  EXPECT_EQ(record.Received(2).size(), 1u) << "one open request";
  EXPECT_TRUE(record.Received(9).empty()) << "UrdOpen must not switch a parallel port";

  ExpectOutcome(UrdClose(), 1, kNoError);
  EXPECT_EQ(record.Received(3).size(), 1u);
  EXPECT_TRUE(record.WaitForCount("disconnect", 1));
  ExpectOutcome(UrdClose(), 0, kUnknownError);
}

TEST(OpenCloseDefaultBench, SecondOpenReplacesTheFirstClient) {
  ASSERT_TRUE(SimRecord::Available());
  SimRecord record;
  ExpectOutcome(UrdOpen(), 1, kNoError);
  ExpectOutcome(UrdOpen(), 1, kNoError);
  EXPECT_EQ(record.Count("connect"), 2);
  EXPECT_TRUE(record.WaitForCount("disconnect", 1));
  EXPECT_EQ(record.Count("disconnect"), 1) << "only one connection may stay open";
  EXPECT_EQ(record.Received(3).size(), 1u) << "the first client closes its board";
  ExpectOutcome(UrdClose(), 1, kNoError);
  EXPECT_TRUE(record.WaitForCount("disconnect", 2));
}

// ------------------------------------------------ several boards, type 4 first

TEST(OpenCloseSeveralBoards, OpensTheFirstBoardNotOfType4) {
  ASSERT_TRUE(SimRecord::Available());
  SimRecord record;
  ExpectOutcome(UrdOpen(), 1, kNoError);
  const std::vector<std::string> opens = record.Received(2);
  ASSERT_EQ(opens.size(), 1u);
  // Code 2, then board number 258 little-endian and type 2.
  EXPECT_EQ(opens[0].substr(0, 14), "02000000020102");
  ExpectOutcome(UrdClose(), 1, kNoError);
}

// ------------------------------------------------ no usable board

TEST(OpenCloseNoUsableBoard, NotFoundKeepsTheClientSoCloseSucceeds) {
  ASSERT_TRUE(SimRecord::Available());
  SimRecord record;
  ExpectOutcome(UrdOpen(), 0, kNoBoard);
  EXPECT_TRUE(record.Received(2).empty());
  ExpectOutcome(UrdClose(), 1, kNoError);
  EXPECT_TRUE(record.Received(3).empty()) << "no board was open";
  ExpectOutcome(UrdClose(), 0, kUnknownError);
}

// ------------------------------------------------ firmware 1.2.3, 1.2.4 required

TEST(OpenCloseFirmwareTooOld, RefusedBeforeAnyOpenRequest) {
  ASSERT_TRUE(SimRecord::Available());
  SimRecord record;
  ExpectOutcome(UrdOpen(), 0,
                "Wrong version of the board's firmware. The installed firmware has got the version number 1.2.3, "
                "but at least version 1.2.4 is needed. Please update the installed board's driver.");
  EXPECT_TRUE(record.Received(2).empty()) << "no open request may reach the scheduler";
  ExpectOutcome(UrdClose(), 1, kNoError);
}

// ------------------------------------------------ scheduler refuses the client

TEST(OpenCloseNoScheduler, ConstructionFailureLeavesNoClient) {
  ExpectOutcome(UrdOpen(), 0, kNoScheduler);
  ExpectOutcome(UrdClose(), 0, kUnknownError);
}

TEST(OpenCloseVersion159, Refused) {
  ExpectOutcome(UrdOpen(), 0, SchedulerVersionText("1.5.9"));
  ExpectOutcome(UrdClose(), 0, kUnknownError);
}

TEST(OpenCloseVersion260, Refused) {
  ExpectOutcome(UrdOpen(), 0, SchedulerVersionText("2.6.0"));
  ExpectOutcome(UrdClose(), 0, kUnknownError);
}

// The bench serves one client; a DeviceIo device holds that connection.
TEST(OpenCloseBusy, SecondConnectionIsRefused) {
  DeviceIoBlock request{};
  DeviceIoBlock result{};
  std::uint32_t count = 0;
  request.command = I2CZAVIK_CMD_OPEN;
  ASSERT_EQ(DeviceIo(&request, nullptr, &result, nullptr, &count), 1);
  ASSERT_EQ(result.status, I2CZAVIK_STATUS_SUCCESS);

  ExpectOutcome(UrdOpen(), 0,
                "Cannot connect to the I2C scheduler, because the scheduler is busy. The scheduler can handle only a "
                "limited number of simultaneous connections.");
  ExpectOutcome(UrdClose(), 0, kUnknownError);

  DeviceIoBlock close{};
  close.command = I2CZAVIK_CMD_CLOSE;
  close.context = result.context;
  DeviceIo(&close, nullptr, &result, nullptr, &count);
  EXPECT_EQ(result.status, I2CZAVIK_STATUS_SUCCESS);
}

// ------------------------------------------------ scheduler drops the connection

// The simulator answers the list and the open request, then closes the
// connection. Whether UrdOpen still sees its answers depends on the socket
// backend: the POSIX one collects the answers before it reads the end of the
// stream, the Win32 one may meet both in one read and report the loss at
// once. Either way the first export that meets the loss reports it, and from
// then on no board is open: closing succeeds and a transfer asks for an open
// board.
const std::string kNoOpenBoard = "No board has been choosen. Please, open a board and try it again.";

TEST(OpenCloseConnectionLost, CloseAfterTheLossSucceeds) {
  if (UrdOpen() == 1) {
    ExpectOutcome(UrdClose(), 0, kNoScheduler);  // the client stays global
  } else {
    EXPECT_EQ(StatusText(), kNoScheduler);
  }
  ExpectOutcome(UrdClose(), 1, kNoError);
  ExpectOutcome(UrdClose(), 0, kUnknownError);
}

TEST(OpenCloseConnectionLost, TransferAfterTheLossNeedsAnOpenBoard) {
  const unsigned char address[2] = {0x00, 0xA0};
  unsigned char data[4] = {};
  if (UrdOpen() == 1) {
    ExpectOutcome(UrdGetReg(2, 1, address, data), 0, kNoScheduler);
  } else {
    EXPECT_EQ(StatusText(), kNoScheduler);
  }
  ExpectOutcome(UrdGetReg(2, 1, address, data), 0, kNoOpenBoard);
  ExpectOutcome(UrdClose(), 1, kNoError);
}

}  // namespace
