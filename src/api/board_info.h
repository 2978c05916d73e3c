#pragma once
// One board as the scheduler describes it: identity, installed and required
// component versions, and capabilities.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "api/version.h"

namespace zavik::I2cApi {

// Size of one serialised board entry in the board list stream.
constexpr std::size_t kBoardEntrySize = 29627;

struct BoardInfo {
  std::string name;
  std::uint16_t boardNumber = 0;
  std::map<std::string, Version> installedVersions;  // "FPGA configuration", "driver", "firmware"
  std::map<std::string, Version> requiredVersions;
  std::uint32_t boardType = 0;
  std::array<std::uint16_t, 5> extraWords{};
  std::uint32_t extraValue = 0;
  std::array<std::uint8_t, 14> capabilityFlags{};  // [8] master write, [9] master read
  std::vector<std::uint32_t> listA;
  std::vector<std::uint8_t> listB;
  std::vector<std::uint8_t> listC;
  std::vector<std::uint32_t> listD;
  std::uint16_t valueE = 0;
  std::uint32_t valueF = 0;
  std::array<std::uint8_t, 8> moreFlags{};
  std::vector<std::uint32_t> bitrates;
  std::vector<std::uint32_t> highSpeedBitrates;
  std::uint32_t maxReadLength = 0;
  std::uint16_t valueG = 0;

  bool MasterTxSupported() const { return capabilityFlags[8] != 0; }
  bool MasterRxSupported() const { return capabilityFlags[9] != 0; }
};

}  // namespace zavik::I2cApi
