#pragma once
// Three unsigned bytes, compared lexicographically (major, minor, build).

#include <cstdint>
#include <tuple>

namespace zavik::I2cApi {

struct Version {
  std::uint8_t major = 0;
  std::uint8_t minor = 0;
  std::uint8_t build = 0;

  bool IsAtLeast(const Version& other) const {
    return std::tie(major, minor, build) >= std::tie(other.major, other.minor, other.build);
  }
  friend bool operator<(const Version& a, const Version& b) { return !a.IsAtLeast(b); }
  friend bool operator==(const Version& a, const Version& b) {
    return a.major == b.major && a.minor == b.minor && a.build == b.build;
  }
};

}  // namespace zavik::I2cApi
