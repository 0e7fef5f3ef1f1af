#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

/// Include once in a test program: its monotonic clock, and that of the libraries it links, then stands
/// still at `testSeconds` until the test moves it.
inline double testSeconds = 1000;

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock != CLOCK_MONOTONIC) return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  time->tv_sec = static_cast<time_t>(testSeconds);
  time->tv_nsec = static_cast<long>((testSeconds - static_cast<double>(time->tv_sec)) * 1e9);
  return 0;
}
