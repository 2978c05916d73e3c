#pragma once
// The waitable side of a channel. The event handles are opaque here: the
// backend that created them (Win32 events, or the POSIX readiness signals) is
// the only one that looks inside, through its matching selector.

#include <vector>

namespace zavik::I2cScheduler {

using EventHandle = void*;

struct Endpoint {
  bool readIdle = true;
  bool writeIdle = true;
  EventHandle readEvent = nullptr;
  EventHandle writeEvent = nullptr;
};

// Owned by the caller; selectors keep a pointer to it, not a copy.
using EndpointList = std::vector<Endpoint*>;

}  // namespace zavik::I2cScheduler
