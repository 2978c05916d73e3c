// One device of the command-code interface: open, ask, close.
#ifndef I2CZAVIK_TOOL_DEVICE_IO_SESSION_H
#define I2CZAVIK_TOOL_DEVICE_IO_SESSION_H

#include <string>

#include "urd_api.h"

namespace zavik::I2cTool {

class DeviceIoSession {
 public:
  explicit DeviceIoSession(const UrdApi& api);
  ~DeviceIoSession();
  DeviceIoSession(const DeviceIoSession&) = delete;
  DeviceIoSession& operator=(const DeviceIoSession&) = delete;

  // Each returns false on a non-zero status; ErrorText() then tells why.
  bool Open();
  bool HardwareCaps(I2cHardwareCaps& caps);
  // Ends the device; the close command never fails.
  void Close();

  std::uint32_t LastStatus() const { return block_.status; }
  // The device's own error text (the library's text for "no device" when the
  // open command did not even leave a context).
  std::string ErrorText();

 private:
  void Run(std::uint32_t command);

  const UrdApi& api_;
  // The same block serves as request and result, so the context that the
  // open command stores is where every later command reads it.
  DeviceIoBlock block_;
};

}  // namespace zavik::I2cTool

#endif
