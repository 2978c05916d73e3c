// UrdOpen and UrdClose: the global board client's lifecycle. UrdOpen makes a
// new client and opens the first board that is not of type 4; UrdClose closes
// that board and ends the client.

#include <vector>

#include "api/board_client.h"
#include "driver/board_selection.h"
#include "driver/client_factory.h"
#include "driver/global_client.h"
#include "driver/outcome.h"
#include "i2czavik.h"

namespace zavik::Driver {

namespace {

// The old client goes first (its destructor closes its board and socket), so
// at most one global client ever exists and the pointer is empty while the
// new one connects.
void ReplaceGlobalClient() {
  I2cApi::CBoardClient* old = GlobalClient();
  SetGlobalClient(nullptr);
  delete old;
  SetGlobalClient(MakeBoardClient().release());
}

// False when the list holds no usable board; the new client stays global.
// No parallel-port command here: only the DeviceIo open enables a port.
bool OpenFirstUsableBoard() {
  ReplaceGlobalClient();
  I2cApi::CBoardClient& client = RequireGlobalClient();
  std::vector<I2cApi::BoardInfo> boards;
  client.EnumerateBoards(boards);
  const I2cApi::BoardInfo* chosen = FirstSelectableBoard(boards);
  if (chosen == nullptr) return false;
  client.OpenBoard(*chosen);
  return true;
}

// A failed close keeps the client global, so the host may try again.
void CloseAndEndGlobalClient() {
  I2cApi::CBoardClient& client = RequireGlobalClient();
  client.CloseBoard();
  SetGlobalClient(nullptr);
  delete &client;
}

}  // namespace

}  // namespace zavik::Driver

extern "C" I2CZAVIK_API int I2CZAVIK_CDECL UrdOpen(void) {
  using namespace zavik::Driver;
  bool found = false;
  const int result = RunUrdExport([&found] { found = OpenFirstUsableBoard(); });
  if (result == 1 && !found) return FailUrdExport(kNoBoardFoundText);
  return result;
}

extern "C" I2CZAVIK_API int I2CZAVIK_CDECL UrdClose(void) {
  return zavik::Driver::RunUrdExport(zavik::Driver::CloseAndEndGlobalClient);
}
