#include "logservice/log.h"

#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string_view>

namespace {

constexpr int DEFAULT_LEVEL = LOG_INFO;

// What stands before "tag: text" in a line, by priority; on a terminal a letter and the start of a colour.
using Marks = std::array<std::string_view, LOG_DEBUG + 1>;
constexpr Marks JOURNAL_MARKS = {"<0>", "<1>", "<2>", "<3>", "<4>", "<5>", "<6>", "<7>"};
constexpr Marks TERMINAL_MARKS = {"\033[1;31mP ",  // for panic, since E stands for error
                                  "\033[1;31mA ", "\033[1;31mC ", "\033[31mE ", "\033[33mW ",
                                  "\033[36mN ",   "\033[32mI ",   "\033[34mD "};

// Another program may have made the terminal or pipe that it shares with us non-blocking. False when nobody
// reads on for a second.
bool waitForRoom() {
  pollfd waited = {STDERR_FILENO, POLLOUT, 0};
  return poll(&waited, 1, 1000) > 0;
}

void writeWhole(const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = write(STDERR_FILENO, bytes, count);
    if (written < 0 && (errno == EINTR || (errno == EAGAIN && waitForRoom()))) continue;
    if (written <= 0) return;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
}

// Writes the line whatever the level. The text is formatted where it stands in the whole line, so that one
// write carries it and lines of several processes don't mix.
__attribute__((format(printf, 3, 0))) void writeLine(std::string_view tag, int priority, const char* format,
                                                     std::va_list arguments) {
  const int savedError = errno;
  const bool onTerminal = isatty(STDERR_FILENO) != 0;
  const std::string_view mark =
      (onTerminal ? TERMINAL_MARKS : JOURNAL_MARKS)[static_cast<std::size_t>(priority)];
  const std::string_view lineEnd = onTerminal ? "\033[0m\n" : "\n";
  const std::size_t textStart = mark.size() + tag.size() + 2;
  const std::size_t around = textStart + lineEnd.size();

  std::va_list secondPass;
  va_copy(secondPass, arguments);
  std::array<char, 1024> shortLine;
  std::unique_ptr<char[]> longLine;
  char* line = shortLine.data();
  std::size_t room = around < shortLine.size() ? shortLine.size() - around : 0;
  errno = savedError;  // for "%m"
  const int length = std::vsnprintf(room > 0 ? line + textStart : nullptr, room, format, arguments);
  const std::size_t textLength = length > 0 ? static_cast<std::size_t>(length) : 0;
  if (textLength >= room) {
    room = textLength + 1;
    longLine.reset(new (std::nothrow) char[around + room]);
    line = longLine.get();
    errno = savedError;
    if (line != nullptr) std::vsnprintf(line + textStart, room, format, secondPass);
  }
  va_end(secondPass);

  if (length >= 0 && line != nullptr) {
    char* end = line + mark.copy(line, mark.size());
    char* const tagStart = end;
    end += tag.copy(end, tag.size());
    end += std::string_view(": ").copy(end, 2);
    for (const char* const textEnd = end + textLength; end < textEnd; ++end) {
      if (const auto byte = static_cast<unsigned char>(*end); byte < 0x20 || byte == 0x7f) *end = '?';
    }
    *end = '\0';
    // The system log puts the program's name in front; the tag stays, since it need not be that name.
    syslog(priority, "%s", tagStart);
    end += lineEnd.copy(end, lineEnd.size());
    writeWhole(line, static_cast<std::size_t>(end - line));
  }
  errno = savedError;
}

__attribute__((format(printf, 3, 4))) void writeLine(std::string_view tag, int priority, const char* format,
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
