// On Linux the tool links the shared library like any host would, so the
// table simply points at the imported functions.
#include "urd_api.h"

namespace zavik::I2cTool {

bool LoadUrdApi(UrdApi& api, std::string& /*error*/) {
  api.open = &::UrdOpen;
  api.close = &::UrdClose;
  api.getStatus = &::UrdGetStatus;
  api.setLongReg = &::UrdSetLongReg;
  api.getLongReg = &::UrdGetLongReg;
  api.deviceIo = &::DeviceIo;
  return true;
}

}  // namespace zavik::I2cTool
