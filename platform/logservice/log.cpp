#include "logservice/log.h"

#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr int DEFAULT_LEVEL = LOG_INFO;

// What stands before "tag: text" in a line, by priority; on a terminal a letter and the start of a colour.
using Marks = std::array<const char*, LOG_DEBUG + 1>;
constexpr Marks JOURNAL_MARKS = {"<0>", "<1>", "<2>", "<3>", "<4>", "<5>", "<6>", "<7>"};
constexpr Marks TERMINAL_MARKS = {"\033[1;31mP ",  // for panic, since E stands for error
                                  "\033[1;31mA ", "\033[1;31mC ", "\033[31mE ", "\033[33mW ",
                                  "\033[36mN ",   "\033[32mI ",   "\033[34mD "};

// Waits because another program may have made the terminal or pipe that it shares with us non-blocking.
// False when nobody has read on for a second: a log line is not worth a longer stop.
bool waitForRoom() {
  pollfd waited = {STDERR_FILENO, POLLOUT, 0};
  return poll(&waited, 1, 1000) > 0;
}

void writeWhole(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written < 0 && (errno == EINTR || (errno == EAGAIN && waitForRoom()))) continue;
    // A line that can't be written is lost. There is nowhere to report that.
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

// Writes the line whatever the level.
__attribute__((format(printf, 3, 0))) void writeLine(const char* tag, int priority, const char* format,
                                                     std::va_list arguments) {
  const int savedError = errno;
  char* formatted = nullptr;
  const int length = vasprintf(&formatted, format, arguments);  // before any call that sets errno, for "%m"
  if (length >= 0) {
    std::string text(formatted, static_cast<std::size_t>(length));
    std::free(formatted);
    // So that a text from a file can neither start a line of its own nor steer a terminal.
    std::replace_if(text.begin(), text.end(), isControl, '?');
    const std::string line = std::string(tag) + ": " + text;
    // The system log puts the program's name in front; the tag stays, since it need not be that name.
    syslog(priority, "%s", line.c_str());

    const bool onTerminal = isatty(STDERR_FILENO) != 0;
    const Marks& marks = onTerminal ? TERMINAL_MARKS : JOURNAL_MARKS;
    // In one write, so that the lines of several processes don't mix.
    writeWhole(marks[static_cast<std::size_t>(priority)] + line + (onTerminal ? "\033[0m\n" : "\n"));
  }
  errno = savedError;
}

__attribute__((format(printf, 3, 4))) void writeLine(const char* tag, int priority, const char* format,
                                                     ...) {
  std::va_list arguments;
  va_start(arguments, format);
  writeLine(tag, priority, format, arguments);
  va_end(arguments);
}

std::optional<int> parseLevel(std::string_view text) {
  if (text == "error") return LOG_ERR;
  if (text == "warning") return LOG_WARNING;
  if (text == "info") return LOG_INFO;
  if (text == "debug") return LOG_DEBUG;
  if (text.size() == 1 && text[0] >= '0' && text[0] <= '7') return text[0] - '0';
  return std::nullopt;
}

int levelFromEnvironment() {
  const char* const text = std::getenv("LOG_LEVEL");
  if (text == nullptr) return DEFAULT_LEVEL;
  const std::optional<int> level = parseLevel(text);
  if (!level) {
    writeLine("logservice", LOG_WARNING,
              "LOG_LEVEL=%s is not a level (0 to 7, error, warning, info, debug): using %d", text,
              DEFAULT_LEVEL);
  }
  return level.value_or(DEFAULT_LEVEL);
}

}  // namespace

int log_admits(const char* /*tag: all have one level*/, int priority) {
  // Read once, so that an unusable LOG_LEVEL is reported once.
  static const int level = levelFromEnvironment();
  return priority >= LOG_EMERG && priority <= level ? 1 : 0;
}

void log_print(const char* tag, int priority, const char* format, ...) {
  if (log_admits(tag, priority) == 0) return;
  std::va_list arguments;
  va_start(arguments, format);
  writeLine(tag, priority, format, arguments);
  va_end(arguments);
}
