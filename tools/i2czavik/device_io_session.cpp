#include "device_io_session.h"

#include <cstring>

namespace zavik::I2cTool {

namespace {
// The library delivers at most 100 characters of a device's error text.
constexpr std::size_t kErrorTextSize = 101;
}  // namespace

DeviceIoSession::DeviceIoSession(const UrdApi& api) : api_(api) { std::memset(&block_, 0, sizeof block_); }

DeviceIoSession::~DeviceIoSession() { Close(); }

void DeviceIoSession::Run(std::uint32_t command) {
  block_.command = command;
  std::uint32_t moved = 0;
  api_.deviceIo(&block_, nullptr, &block_, nullptr, &moved);
}

bool DeviceIoSession::Open() {
  Run(I2CZAVIK_CMD_OPEN);
  return block_.status == I2CZAVIK_STATUS_SUCCESS;
}

bool DeviceIoSession::HardwareCaps(I2cHardwareCaps& caps) {
  unsigned char buffer[sizeof(I2cHardwareCaps)] = {};
  block_.buffer = buffer;
  block_.count = static_cast<std::int32_t>(sizeof buffer);
  Run(I2CZAVIK_CMD_HARDWARE_CAPS);
  block_.buffer = nullptr;
  if (block_.status != I2CZAVIK_STATUS_SUCCESS) return false;
  std::memcpy(&caps, buffer, sizeof caps);
  return true;
}

void DeviceIoSession::Close() {
  if (block_.context == nullptr) return;
  Run(I2CZAVIK_CMD_CLOSE);
  block_.context = nullptr;
}

std::string DeviceIoSession::ErrorText() {
  unsigned char buffer[kErrorTextSize] = {};
  std::uint32_t status = block_.status;  // keep the status of the failed command
  block_.buffer = buffer;
  block_.count = static_cast<std::int32_t>(sizeof buffer);
  Run(I2CZAVIK_CMD_ERROR_TEXT);
  block_.buffer = nullptr;
  block_.status = status;
  buffer[kErrorTextSize - 1] = '\0';
  return reinterpret_cast<const char*>(buffer);
}

}  // namespace zavik::I2cTool
