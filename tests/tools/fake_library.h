// A scripted stand-in for the driver library's exports: a bus with slaves
// holding register memories, failures on demand, and a log of every call.
#ifndef I2CZAVIK_TESTS_TOOLS_FAKE_LIBRARY_H
#define I2CZAVIK_TESTS_TOOLS_FAKE_LIBRARY_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "urd_api.h"

namespace zavik::I2cTool::Testing {

struct RegisterCall {
  bool isWrite;
  std::vector<std::uint8_t> address;  // the whole address array
  int dataCount;
  std::vector<std::uint8_t> data;     // written bytes (writes only)
  bool dataPointerNull;
};

struct FakeLibrary {
  // Bus: 7-bit address -> register memory (register address -> byte).
  std::map<std::uint8_t, std::map<std::uint64_t, std::uint8_t>> slaves;
  bool refuseEmptyWrite = false;             // like a board type that needs data in a write
  std::map<std::uint8_t, std::string> failAt;  // slave -> text its transfers fail with
  std::string openFailure;                   // UrdOpen fails with this text when set
  std::string closeFailure;                  // UrdClose fails with this text when set

  // Command-code interface.
  std::uint32_t deviceOpenStatus = I2CZAVIK_STATUS_SUCCESS;
  std::string deviceOpenError;
  I2cHardwareCaps caps{};

  // Observations.
  int opens = 0;
  int closes = 0;
  std::vector<RegisterCall> calls;
  std::vector<std::uint32_t> deviceCommands;
  int liveContexts = 0;

  std::string status;  // the last-error text
};

// The fake that the table returned by FakeApi() works on; reset per test.
FakeLibrary& Fake();
void ResetFake();
UrdApi FakeApi();

// Helpers for expectations.
std::uint8_t SlaveOf(const RegisterCall& call);

}  // namespace zavik::I2cTool::Testing

#endif
