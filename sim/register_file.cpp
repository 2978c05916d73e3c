#include "sim/register_file.h"

#include <algorithm>

namespace zavik::I2cSim {

RegisterFile::RegisterFile(const RegisterFileConfig& config)
    : config_(config), registers_(std::max<std::uint32_t>(config.size, 1), 0) {
  std::copy_n(config.contents.begin(), std::min(config.contents.size(), registers_.size()),
              registers_.begin());
}

bool RegisterFile::Select(bool read) {
  writing_ = !read;
  addressBytesSeen_ = 0;
  pendingPointer_ = 0;
  return true;
}

bool RegisterFile::Write(std::uint8_t byte) {
  if (!writing_) return false;
  if (addressBytesSeen_ < config_.addressBytes) {
    pendingPointer_ = (pendingPointer_ << 8) | byte;
    if (++addressBytesSeen_ == config_.addressBytes) {
      pointer_ = pendingPointer_ % registers_.size();
    }
    return true;
  }
  if (config_.readOnly.count(pointer_) == 0) registers_[pointer_] = byte;
  Advance();
  return true;
}

std::uint8_t RegisterFile::Read() {
  const std::uint8_t value = registers_[pointer_];
  Advance();
  return value;
}

void RegisterFile::Release(bool) { writing_ = false; }

void RegisterFile::Advance() {
  if (config_.autoIncrement) pointer_ = (pointer_ + 1) % registers_.size();
}

}  // namespace zavik::I2cSim
