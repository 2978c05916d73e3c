// On Windows the tool loads i2czavik.dll at run time and looks the exports up
// by their undecorated names, the way hosts of the DLL do. The module stays
// loaded until the process ends.
#include <windows.h>

#include "urd_api.h"

namespace zavik::I2cTool {

namespace {

template <typename Function>
bool Resolve(HMODULE module, const char* name, Function& target, std::string& error) {
  FARPROC address = GetProcAddress(module, name);
  if (address == nullptr) {
    error = std::string("i2czavik.dll does not export ") + name;
    return false;
  }
  target = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
  return true;
}

}  // namespace

bool LoadUrdApi(UrdApi& api, std::string& error) {
  HMODULE module = LoadLibraryA("i2czavik.dll");
  if (module == nullptr) {
    error = "cannot load i2czavik.dll (error " + std::to_string(GetLastError()) + ")";
    return false;
  }
  return Resolve(module, "UrdOpen", api.open, error) && Resolve(module, "UrdClose", api.close, error) &&
         Resolve(module, "UrdGetStatus", api.getStatus, error) &&
         Resolve(module, "UrdSetLongReg", api.setLongReg, error) &&
         Resolve(module, "UrdGetLongReg", api.getLongReg, error) &&
         Resolve(module, "DeviceIo", api.deviceIo, error);
}

}  // namespace zavik::I2cTool
