#ifndef I2CZAVIK_HOST_SLEEP_H
#define I2CZAVIK_HOST_SLEEP_H
#if defined(_WIN32)
#include <windows.h>
static void HostSleepMs(unsigned ms) { Sleep(ms); }
#else
#include <time.h>
static void HostSleepMs(unsigned ms) {
  struct timespec t;
  t.tv_sec = ms / 1000;
  t.tv_nsec = (long)(ms % 1000) * 1000000L;
  nanosleep(&t, NULL);
}
#endif
#endif
