// Stands before the flight-control library and a few system calls at load time. Each call is shown as a
// line "@name arguments" on standard error, then made; the sleeps are only shown, so that no test waits.
// With PROBE_THROW_AT=N the Nth library step throws; from PROBE_SIGNAL_AT=N on each raises the
// signal PROBE_SIGNAL, or SIGTERM.

#include <dlfcn.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"

namespace {

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int number(const char* variable, int unset) {
  const char* text = std::getenv(variable);
  return text == nullptr ? unset : static_cast<int>(std::strtol(text, nullptr, 10));
}

int steps = 0;

}  // namespace

extern "C" {

int OSTREL_new(const char* variant, const char* mode) {
  std::fprintf(stderr, "@OSTREL_new %s %s\n", variant, mode);
  return next<int (*)(const char*, const char*)>("OSTREL_new")(variant, mode);
}

int OSTREL_process(void) {
  unsigned int flags = 0;
  std::memcpy(&flags, Dravon3::data_manager()->sensors + 1880, sizeof(flags));
  std::fprintf(stderr, "@OSTREL_process flags=%u\n", flags);
  ++steps;
  if (steps == number("PROBE_THROW_AT", 0)) throw std::runtime_error("probe");
  if (steps >= number("PROBE_SIGNAL_AT", INT_MAX)) raise(number("PROBE_SIGNAL", SIGTERM));
  return next<int (*)()>("OSTREL_process")();
}

void OSTREL_delete(void) {
  std::fprintf(stderr, "@OSTREL_delete\n");
  next<void (*)()>("OSTREL_delete")();
}

int unlink(const char* path) noexcept {
  std::fprintf(stderr, "@unlink %s\n", path);
  return next<int (*)(const char*)>("unlink")(path);
}

unsigned int sleep(unsigned int seconds) {
  std::fprintf(stderr, "@sleep %u\n", seconds);
  return 0;
}

// No step may seek: looking ahead in the event log costs no system call.
off64_t lseek64(int file, off64_t offset, int whence) noexcept {
  std::fprintf(stderr, "@lseek\n");
  return next<off64_t (*)(int, off64_t, int)>("lseek64")(file, offset, whence);
}

int prctl(int option, ...) noexcept {
  va_list arguments;
  va_start(arguments, option);
  const unsigned long value = va_arg(arguments, unsigned long);
  va_end(arguments);
  std::fprintf(stderr, "@prctl %d %lu\n", option, value);
  return 0;
}

int usleep(useconds_t microseconds) {
  std::fprintf(stderr, "@usleep %u\n", microseconds);
  return 0;
}
}
