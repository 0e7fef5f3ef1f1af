// Preloaded into the tool. It stands before the platform's libraries and a few system calls and shows each
// call that the tool makes as a line "@name arguments" on standard error, before it makes the call. What
// the libraries call among themselves is not shown, and sleeps are only shown, so that no test waits.
//
// "image=A..B" is the first and the last field (imu.gyro[0].x, flags) of the data manager's sensors then.
//
// An environment variable that is named after a call, such as "sleep_2" for the second sleep, says what is
// to happen with it: the number of a signal to raise, "throw" for an exception, or, for a wait, "silent"
// when no answer is to come.

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

#include "kvs/kvs.h"
#include "logservice/log.h"
#include "ostrel/data_manager.hpp"
#include "ostrel/log_tlmb.h"
#include "ostrel/ostrel.h"
#include "registry/SensorRecords.hpp"

#define NEXT(function) reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))

/// Defines a function that shows its call under this name with this text, and passes it on.
#define SHOWN_AS(name, Result, function, parameters, arguments, text)         \
  Result function parameters {                                                \
    const Call call(name, text);                                              \
    return NEXT(function) arguments; /* NOLINT(bugprone-macro-parentheses) */ \
  }
#define SHOWN(Result, function, parameters, arguments, text) \
  SHOWN_AS(#function, Result, function, parameters, arguments, text)

/// Defines a function that shows its call with this text and does nothing else.
#define ONLY_SHOWN(Result, function, parameters, text) \
  Result function parameters {                         \
    return Call(#function, text), 0;                   \
  }

namespace {

/// A call under way.
class Call {
 public:
  explicit Call(const std::string& name, const std::string& arguments = "") {
    if (depth == 0) show(name, arguments);
    ++depth;
  }
  ~Call() { --depth; }

  std::string event;  ///< what is to happen with the call

 private:
  void show(const std::string& name, const std::string& arguments) {
    static auto& counts = *new std::map<std::string, int>;  // never destroyed: files are closed at exit
    const char* wanted = std::getenv((name + "_" + std::to_string(++counts[name])).c_str());
    event = wanted == nullptr ? "" : wanted;
    std::fprintf(stderr, "@%s%s%s\n", name.c_str(), arguments.empty() ? "" : " ", arguments.c_str());
    if (event == "throw") throw std::runtime_error("probe");
    if (const int number = std::atoi(event.c_str())) raise(number);
  }

  static inline int depth = 0;  // of calls under way
};

bool instance = false;  // of the flight-control library exists

std::string image() {
  const auto* sensors = reinterpret_cast<const sensors_data*>(Dravon3::data_manager());
  char text[64];
  std::snprintf(text, sizeof(text), "image=%.0f..%u", double{sensors->imu.gyro[0].x}, sensors->flags);
  return text;
}

std::string setting(const std::string& key, const std::string& value) {
  return key.substr(key.find('.') + 1) + "=" + value;
}

}  // namespace

extern "C" {

// The constructor and the destructor of Api::Input, by the names that the linker knows.
SHOWN_AS("Api::Input", void, _ZN3Api5InputC1Eb, (void* input, bool replayed), (input, replayed),
         replayed ? "replayed" : "")
SHOWN_AS("Api::~Input", void, _ZN3Api5InputD1Ev, (void* input), (input), "")

int OSTREL_new(const char* variant, const char* mode) {
  const Call call("OSTREL_new", std::string(variant) + " " + mode);
  instance = true;
  return NEXT(OSTREL_new)(variant, mode);
}
SHOWN(int, OSTREL_process, (), (), image())
void OSTREL_delete() {
  const Call call("OSTREL_delete");
  instance = false;
  NEXT(OSTREL_delete)();
}
SHOWN(int, ostrel_log_tlmb_init, (const char* name, int capacity, int rate), (name, capacity, rate),
      name + (" " + std::to_string(capacity)) + " " + std::to_string(rate))
SHOWN(int, ostrel_log_tlmb_put, (const timespec* time), (time), std::to_string(time->tv_nsec))
SHOWN(int, ostrel_log_tlmb_cleanup, (), (), "")
SHOWN_AS("set", int, kvs_ctx_set_string, (kvs_ctx * ctx, const char* key, const char* text),
         (ctx, key, text), setting(key, text))
SHOWN_AS("set", int, kvs_ctx_set_bool, (kvs_ctx * ctx, const char* key, bool value), (ctx, key, value),
         setting(key, std::to_string(value)))
SHOWN_AS("set", int, kvs_ctx_set_int, (kvs_ctx * ctx, const char* key, int value), (ctx, key, value),
         setting(key, std::to_string(value)))
SHOWN_AS("set", int, kvs_ctx_set, (kvs_ctx * ctx, const char* key, const kvs_value* value),
         (ctx, key, value), "back")
SHOWN(int, kvs_ctx_stop, (kvs_ctx * ctx), (ctx), "")
SHOWN(int, kvs_ctx_evl_loop_unregister, (kvs_ctx * ctx, evl_loop* loop), (ctx, loop), "")
SHOWN(void, kvs_ctx_destroy, (kvs_ctx * ctx), (ctx), "")
SHOWN(void, evl_loop_destroy, (evl_loop * loop), (loop), "")
SHOWN(int, unlink, (const char* path), (path), path)
ONLY_SHOWN(int, prctl, (int option, unsigned long value),
           std::to_string(option) + " " + std::to_string(value))
ONLY_SHOWN(unsigned int, sleep, (unsigned int seconds), std::to_string(seconds))
ONLY_SHOWN(int, usleep, (unsigned int microseconds), std::to_string(microseconds))

// Shows the time-out of a wait that stays unanswered: the others vary.
int evl_loop_wait_and_process(evl_loop* loop, int timeout) {
  const Call call("wait");
  if (call.event != "silent") return NEXT(evl_loop_wait_and_process)(loop, timeout);
  std::fprintf(stderr, "@silent %i\n", timeout);
  return -ETIMEDOUT;
}

// Shown only while there is an instance: at the end of the process a leak sanitizer calls it, too, when the
// program's threads are stopped and may hold any lock.
int sched_yield() {
  if (instance) const Call call("sched_yield");
  return static_cast<int>(syscall(SYS_sched_yield));
}

// The library's debug line tells which call an input's apply() makes.
int log_admits(const char* tag, int priority) {
  return tag == std::string("ostrel") ? 1 : NEXT(log_admits)(tag, priority);
}
void log_print(const char* tag, int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) < 0) std::abort();
  va_end(arguments);
  if (format == std::string("call %s(%s)")) const Call call("apply", text + 5 + (" " + image()));
  if (tag != std::string("ostrel")) NEXT(log_print)(tag, priority, "%s", text);
  std::free(text);
}

int fclose(FILE* stream) {
  const auto link = "/proc/self/fd/" + std::to_string(fileno(stream));
  const Call call("closed", std::filesystem::read_symlink(link).filename());
  return NEXT(fclose)(stream);
}
}
