#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "logservice/log.h"

namespace {

constexpr int SYSTEM_LOG = 100;  // the descriptor that takes the system log's lines in a logging process

using Lines = std::vector<std::string>;

// What a process that runs `body` wrote, write by write: each line for the system log, then standard error.
// A process of its own, because the level is read once.
Lines logged(const char* level, const std::function<void()>& body, const char* terminal = nullptr) {
  std::array<int, 2> channel{};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, channel.data()), 0);  // keeps writes apart
  const pid_t child = fork();
  if (child == 0) {
    level == nullptr ? unsetenv("LOG_LEVEL") : setenv("LOG_LEVEL", level, 1);
    dup2(channel[1], SYSTEM_LOG);
    dup2(terminal == nullptr ? channel[1] : open(terminal, O_WRONLY | O_NOCTTY), STDERR_FILENO);
    body();
    _exit(0);
  }
  close(channel[1]);
  Lines lines;
  std::vector<char> bytes(100'000);
  for (ssize_t n; (n = recv(channel[0], bytes.data(), bytes.size(), 0)) > 0;) {
    lines.emplace_back(bytes.data(), static_cast<std::size_t>(n));
  }
  close(channel[0]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  return lines;
}

TEST(LogLevel, IsTheHighestPriorityAdmitted) {
  const auto body = [] {
    for (int priority = -1; priority <= 8; ++priority) log_print("tag", priority, "text");
  };
  const auto linesUpTo = [](int level) {
    Lines lines;
    for (int priority = 0; priority <= level; ++priority) {
      lines.push_back(std::to_string(priority) + " tag: text");
      lines.push_back("<" + std::to_string(priority) + ">tag: text\n");
    }
    return lines;
  };
  EXPECT_EQ(logged(nullptr, body), linesUpTo(6));
  const std::map<const char*, int> levels = {{"0", 0},       {"3", 3},    {"7", 7},    {"error", 3},
                                             {"warning", 4}, {"info", 6}, {"debug", 7}};
  for (const auto& [text, level] : levels) EXPECT_EQ(logged(text, body), linesUpTo(level)) << text;
  for (const std::string text : {"", "8", "-1", "03", "3 ", "Debug"}) {
    Lines lines = logged(text.c_str(), body);
    ASSERT_GT(lines.size(), 2U) << text;
    EXPECT_EQ(lines[1], "<4>logservice: LOG_LEVEL=" + text +
                            " is not a level (0 to 7, error, warning, info, debug): using 6\n");
    EXPECT_EQ(Lines(lines.begin() + 2, lines.end()), linesUpTo(6)) << text;
  }
}

TEST(LogLine, IsOneWriteWhateverItsLength) {
  for (const std::size_t length : {0U, 1013U, 1014U, 1015U, 1016U, 60'000U}) {  // around the stack's room
    const std::string text(length, 'x');
    const auto body = [&] { log_print("tag", LOG_INFO, "%s", text.c_str()); };
    EXPECT_EQ(logged("6", body), (Lines{"6 tag: " + text, "<6>tag: " + text + "\n"})) << length;
  }
}

TEST(LogLine, ShowsControlCharactersAndIsFormattedOnlyWhenAdmitted) {
  const auto body = [] {
    log_print("tag", LOG_DEBUG, "%s", reinterpret_cast<const char*>(1));
    log_print("tag", LOG_INFO, "a\nb\033[1m\x7f\té");
  };
  EXPECT_EQ(logged("6", body), (Lines{"6 tag: a?b?[1m??é", "<6>tag: a?b?[1m??é\n"}));
}

TEST(LogLine, KeepsErrnoWhenItCannotBeWritten) {
  const auto body = [] {
    close(STDERR_FILENO);
    errno = EPERM;
    log_print("tag", LOG_INFO, "lost");
    log_print("tag", LOG_INFO, "%d", errno);
  };
  EXPECT_EQ(logged("6", body), (Lines{"6 tag: lost", "6 tag: 1"}));
}

TEST(LogLine, IsColouredOnATerminal) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
  ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  const auto body = [] { log_print("tag", LOG_ERR, "text"); };
  EXPECT_EQ(logged("3", body, ptsname(terminal)), Lines{"3 tag: text"});
  std::array<char, 256> shown{};
  ASSERT_GT(read(terminal, shown.data(), shown.size() - 1), 0);
  EXPECT_STREQ(shown.data(), "\033[31mE tag: text\033[0m\r\n");
  close(terminal);
}

}  // namespace

// In the place of the C library's, whose lines only the system log's reader could look at.
extern "C" void syslog(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string line = std::to_string(priority) + " " + va_arg(arguments, const char*);  // for "%s"
  va_end(arguments);
  EXPECT_EQ(write(SYSTEM_LOG, line.data(), line.size()), static_cast<ssize_t>(line.size()));
}
