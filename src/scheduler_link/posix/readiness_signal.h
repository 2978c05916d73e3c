#pragma once
// The POSIX stand-in for a Win32 event: a socket and the direction it is
// watched in. A signal that is not armed is skipped by the selector, so a
// direction with nothing in flight (no pending write, reading paused) never
// makes a wait return at once.

#include <poll.h>

namespace zavik::I2cScheduler {

struct ReadinessSignal {
  int fd = -1;
  short events = 0;  // POLLIN or POLLOUT
  bool armed = false;

  short PollEvents() const { return armed && fd >= 0 ? events : 0; }
};

}  // namespace zavik::I2cScheduler
