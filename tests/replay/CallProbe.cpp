// Preloaded into the tool. It stands before the platform's libraries and a few system calls and shows each
// call that the tool makes as a line "@name arguments" on standard error, before it makes the call. What
// the libraries call among themselves is not shown, and sleeps are only shown, so that no test waits.
//
// "image=A..B" is what the library's data-manager record holds at the moment of the call: its first field
// (imu.gyro[0].x) and its last one (flags).
//
//   PROBE_SIGNALS="OSTREL_process:2=15,sleep:2=2"  signal 15 with the second OSTREL_process, 2 with sleep
//   PROBE_THROW="image=1..101"                     an exception out of the step with this image
//   PROBE_WAITS="silent,answered"                  waits that the settings service leaves unanswered, and
//                                                  shows of each the time-out asked for
//   PROBE_IGNORED_SIGNAL=2                         the tool is started with signal 2 ignored
//   PROBE_CLOSED_ERRORS=1                          nobody reads standard error
//   PROBE_FILE_LIMIT=BYTES                         no file may grow beyond this

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include "kvs/kvs.h"
#include "logservice/log.h"
#include "ostrel/data_manager.hpp"
#include "ostrel/log_tlmb.h"
#include "ostrel/ostrel.h"

#define NEXT(function) reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))

/// Defines a function of a library that shows its call, with this text behind its name, and passes it on.
#define SHOWN(Result, function, parameters, arguments, text)                  \
  Result function parameters {                                                \
    const Call call(#function, text);                                         \
    return NEXT(function) arguments; /* NOLINT(bugprone-macro-parentheses) */ \
  }

namespace {

int depth = 0;                 // of shown calls under way
bool instanceCreated = false;  // from then on a log that is closed is shown

std::string environment(const char* variable) {
  const char* text = std::getenv(variable);
  return text == nullptr ? "" : text;
}

/// The signal that PROBE_SIGNALS wants with this call of `name`, or 0.
int signalAt(const std::string& name, int count) {
  std::istringstream items(environment("PROBE_SIGNALS"));
  const std::string place = name + ":" + std::to_string(count) + "=";
  for (std::string item; std::getline(items, item, ',');) {
    if (item.rfind(place, 0) == 0) return static_cast<int>(std::strtol(&item[place.size()], nullptr, 10));
  }
  return 0;
}

/// A call under way.
class Call {
 public:
  explicit Call(const std::string& name, const std::string& arguments = "") {
    if (depth == 0) show(name, arguments);
    ++depth;
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() { --depth; }

 private:
  static void show(const std::string& name, const std::string& arguments) {
    static auto& counts = *new std::map<std::string, int>;  // never destroyed: files are closed at exit
    const int count = ++counts[name];
    std::fprintf(stderr, "@%s%s%s\n", name.c_str(), arguments.empty() ? "" : " ", arguments.c_str());
    if (const int number = signalAt(name, count)) raise(number);
  }
};

std::string image() {
  const std::byte* sensors = Dravon3::data_manager()->sensors;
  float first = 0;
  unsigned int last = 0;
  std::memcpy(&first, sensors, sizeof(first));
  std::memcpy(&last, sensors + 1880, sizeof(last));
  char text[64];
  std::snprintf(text, sizeof(text), "image=%.0f..%u", static_cast<double>(first), last);
  return text;
}

std::string setting(const char* key, const std::string& value) {
  return std::string(key).substr(std::strlen("tlm-blackbox.")) + "=" + value;
}

std::string valueText(const kvs_value& value) {
  switch (value.type) {
    case KVS_TYPE_STRING: return value.text;
    case KVS_TYPE_BOOL: return value.boolean ? "true" : "false";
    case KVS_TYPE_INT: return std::to_string(value.integer);
    default: return "none";
  }
}

/// Shows that a file is closed when it is a log that the tool reads.
void showClosed(int file) {
  if (!instanceCreated || depth > 0 || (fcntl(file, F_GETFL) & O_ACCMODE) != O_RDONLY) return;
  std::error_code error;
  const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), error);
  if (!error) const Call call("closed", path.filename());
}

__attribute__((constructor)) void prepareProcess() {
  if (const char* number = std::getenv("PROBE_IGNORED_SIGNAL")) std::signal(std::stoi(number), SIG_IGN);
  int ends[2];
  if (std::getenv("PROBE_CLOSED_ERRORS") == nullptr || pipe(ends) < 0) return;
  dup2(ends[1], STDERR_FILENO);
  NEXT(close)(ends[0]);
}

}  // namespace

extern "C" {

// Api::Input's constructor and destructor.
void inputCreated(void* input, bool replayed) __asm__("_ZN3Api5InputC1Eb");
void inputCreated(void* input, bool replayed) {
  const Call call("Api::Input", replayed ? "replayed" : "");
  reinterpret_cast<void (*)(void*, bool)>(dlsym(RTLD_NEXT, "_ZN3Api5InputC1Eb"))(input, replayed);
}
void inputDestroyed(void* input) __asm__("_ZN3Api5InputD1Ev");
void inputDestroyed(void* input) {
  const Call call("Api::~Input");
  reinterpret_cast<void (*)(void*)>(dlsym(RTLD_NEXT, "_ZN3Api5InputD1Ev"))(input);
}

// The library's debug line tells which call an input's apply() makes.
int log_admits(const char* tag, int priority) {
  return std::strcmp(tag, "ostrel") == 0 ? 1 : NEXT(log_admits)(tag, priority);
}
void log_print(const char* tag, int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) < 0) std::abort();
  va_end(arguments);
  if (std::strcmp(tag, "ostrel") != 0) NEXT(log_print)(tag, priority, "%s", text);
  if (std::strncmp(format, "call ", 5) == 0) const Call call("apply", text + 5 + (" " + image()));
  std::free(text);
}

int OSTREL_new(const char* variant, const char* mode) {
  const Call call("OSTREL_new", std::string(variant) + " " + mode);
  instanceCreated = true;
  if (const char* bytes = std::getenv("PROBE_FILE_LIMIT")) {
    const rlimit limit = {std::stoul(bytes), RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  return NEXT(OSTREL_new)(variant, mode);
}
int OSTREL_process(void) {
  const Call call("OSTREL_process", image());
  if (environment("PROBE_THROW") == image()) throw std::runtime_error("probe");
  return NEXT(OSTREL_process)();
}
SHOWN(void, OSTREL_delete, (void), (), "")

SHOWN(int, ostrel_log_tlmb_init, (const char* name, int capacity, int rate), (name, capacity, rate),
      name + (" " + std::to_string(capacity)) + " " + std::to_string(rate))
SHOWN(int, ostrel_log_tlmb_put, (const timespec* time), (time), "")
SHOWN(int, ostrel_log_tlmb_cleanup, (void), (), "")

SHOWN(evl_loop*, evl_loop_new, (void), (), "")
SHOWN(void, evl_loop_destroy, (evl_loop * loop), (loop), "")
SHOWN(kvs_ctx*, kvs_ctx_new_client, (kvs_cb callback, void* data), (callback, data), "")
SHOWN(int, kvs_ctx_evl_loop_register, (kvs_ctx * ctx, evl_loop* loop), (ctx, loop), "")
SHOWN(int, kvs_ctx_evl_loop_unregister, (kvs_ctx * ctx, evl_loop* loop), (ctx, loop), "")
SHOWN(int, kvs_ctx_start, (kvs_ctx * ctx), (ctx), "")
SHOWN(int, kvs_ctx_stop, (kvs_ctx * ctx), (ctx), "")
SHOWN(void, kvs_ctx_destroy, (kvs_ctx * ctx), (ctx), "")
SHOWN(int, kvs_ctx_set, (kvs_ctx * ctx, const char* key, const kvs_value* value), (ctx, key, value),
      setting(key, valueText(*value)))
SHOWN(int, kvs_ctx_set_string, (kvs_ctx * ctx, const char* key, const char* text), (ctx, key, text),
      setting(key, text))
SHOWN(int, kvs_ctx_set_bool, (kvs_ctx * ctx, const char* key, bool value), (ctx, key, value),
      setting(key, value ? "true" : "false"))
SHOWN(int, kvs_ctx_set_int, (kvs_ctx * ctx, const char* key, int value), (ctx, key, value),
      setting(key, std::to_string(value)))

int evl_loop_wait_and_process(evl_loop* loop, int timeout) {
  static auto& answers = *new std::istringstream(environment("PROBE_WAITS"));
  std::string answer;
  if (depth == 0) std::getline(answers, answer, ',');
  const Call call("wait", answer.empty() ? "" : std::to_string(timeout));
  return answer == "silent" ? -ETIMEDOUT : NEXT(evl_loop_wait_and_process)(loop, timeout);
}

int close(int file) {
  showClosed(file);
  return NEXT(close)(file);
}
int fclose(FILE* stream) {
  showClosed(fileno(stream));
  return NEXT(fclose)(stream);
}
int unlink(const char* path) noexcept {
  const Call call("unlink", path);
  return NEXT(unlink)(path);
}
// No step may seek: looking ahead in the event log costs no system call.
off64_t lseek64(int file, off64_t offset, int whence) noexcept {
  const Call call("lseek");
  return NEXT(lseek64)(file, offset, whence);
}
int prctl(int option, ...) noexcept {
  va_list arguments;
  va_start(arguments, option);
  const Call call("prctl", std::to_string(option) + " " + std::to_string(va_arg(arguments, unsigned long)));
  va_end(arguments);
  return 0;
}
unsigned int sleep(unsigned int seconds) {
  const Call call("sleep", std::to_string(seconds));
  return 0;
}
int usleep(useconds_t microseconds) {
  const Call call("usleep", std::to_string(microseconds));
  return 0;
}
}
