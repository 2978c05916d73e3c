// The exports of the driver library that the tool calls, as a table of
// function pointers. The commands only ever go through this table, so the
// same code runs against the linked shared library on Linux and against a
// DLL loaded at run time on Windows.
#ifndef I2CZAVIK_TOOL_URD_API_H
#define I2CZAVIK_TOOL_URD_API_H

#include <string>

#include "i2czavik.h"

namespace zavik::I2cTool {

struct UrdApi {
  // decltype keeps each export's calling convention (DeviceIo is stdcall).
  decltype(&::UrdOpen) open = nullptr;
  decltype(&::UrdClose) close = nullptr;
  decltype(&::UrdGetStatus) getStatus = nullptr;
  decltype(&::UrdSetLongReg) setLongReg = nullptr;
  decltype(&::UrdGetLongReg) getLongReg = nullptr;
  decltype(&::DeviceIo) deviceIo = nullptr;
};

// Fills `api` with the library's exports. On failure returns false and says
// why in `error` (library not found, export missing).
bool LoadUrdApi(UrdApi& api, std::string& error);

}  // namespace zavik::I2cTool

#endif
