#include "sim/eeprom.h"

#include <algorithm>

namespace zavik::I2cSim {

Eeprom::Eeprom(const EepromConfig& config, const Clock& clock)
    : config_(config), clock_(clock), memory_(config.size, 0xFF), latch_(config.pageSize, -1) {}

bool Eeprom::Select(bool read) {
  // While a page is being programmed the chip does not answer at all; hosts
  // poll its address to learn when the cycle is over.
  if (Busy()) return false;
  writing_ = !read;
  addressBytesSeen_ = 0;
  wordAddress_ = 0;
  latched_ = 0;
  return true;
}

bool Eeprom::Write(std::uint8_t byte) {
  if (!writing_) return false;
  if (addressBytesSeen_ < config_.addressBytes) {
    wordAddress_ = (wordAddress_ << 8) | byte;
    if (++addressBytesSeen_ == config_.addressBytes) pointer_ = wordAddress_ % config_.size;
    return true;
  }
  // The chip's address counter wraps inside the page, so bytes beyond one
  // page overwrite those latched first.
  const std::uint32_t offset = (pointer_ + latched_) % config_.pageSize;
  latch_[offset] = byte;
  ++latched_;
  return true;
}

std::uint8_t Eeprom::Read() {
  const std::uint8_t value = memory_[pointer_];
  pointer_ = (pointer_ + 1) % config_.size;
  return value;
}

void Eeprom::Release(bool stop) {
  // Only a STOP starts programming; a repeated START after data aborts the
  // write, which is how random reads set the pointer without writing.
  if (writing_ && stop && latched_ != 0) Program();
  writing_ = false;
  latched_ = 0;
  std::fill(latch_.begin(), latch_.end(), std::int16_t{-1});
}

void Eeprom::Program() {
  const std::uint32_t pageBase = pointer_ - pointer_ % config_.pageSize;
  for (std::uint32_t i = 0; i < config_.pageSize; ++i) {
    if (latch_[i] >= 0) memory_[pageBase + i] = static_cast<std::uint8_t>(latch_[i]);
  }
  pointer_ = pageBase + (pointer_ + latched_) % config_.pageSize;
  busyUntil_ = clock_.NowMicros() + config_.writeCycleMicros;
}

}  // namespace zavik::I2cSim
