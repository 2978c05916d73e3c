#pragma once
// Values shared by the master module and its transfer tracking.

#include <cstdint>

namespace zavik::I2cApi {

// The bitrate of a new master module until the host chooses another, in Hz.
constexpr std::uint32_t kDefaultBitrate = 100000;
// Below this I2C Vcc, in millivolts, a transfer is refused before it starts,
// and one in progress ends in error when the scheduler reports it.
constexpr std::uint16_t kMinimumVcc = 1000;

}  // namespace zavik::I2cApi
