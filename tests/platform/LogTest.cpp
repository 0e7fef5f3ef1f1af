#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <functional>

#include "logservice/log.h"

namespace {

constexpr int SYSTEM_LOG = 100;  // the descriptor that takes the system log's lines in a logging process
using Writes = std::vector<std::string>;

/// What `body` writes: each line for the system log, and each write to standard error. It runs in a process
/// of its own, because the level is read once.
Writes writesOf(const char* level, const std::function<void()>& body) {
  int channel[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, channel), 0);  // keeps writes apart
  if (fork() == 0) {
    level == nullptr ? unsetenv("LOG_LEVEL") : setenv("LOG_LEVEL", level, 1);
    dup2(channel[1], SYSTEM_LOG);
    dup2(channel[1], STDERR_FILENO);
    body();
    _exit(0);
  }
  close(channel[1]);
  Writes writes;
  std::string bytes(100'000, '\0');
  for (ssize_t count; (count = recv(channel[0], bytes.data(), bytes.size(), 0)) > 0;)
    writes.push_back(bytes.substr(0, static_cast<std::size_t>(count)));
  close(channel[0]);
  int status = -1;
  EXPECT_TRUE(wait(&status) > 0 && status == 0);
  return writes;
}

void printAtEachPriority() {
  for (int priority = -1; priority <= 8; ++priority) log_print("tag", priority, "text");
}

Writes linesUpTo(int level) {
  Writes lines;
  for (int priority = 0; priority <= level; ++priority) {
    lines.push_back(std::to_string(priority) + " tag: text");
    lines.push_back("<" + std::to_string(priority) + ">tag: text\n");
  }
  return lines;
}

TEST(LogLevel, IsTheHighestPriorityAdmitted) {
  const std::pair<const char*, int> levels[] = {{"0", 0},       {"3", 3},    {"7", 7},     {"error", 3},
                                                {"warning", 4}, {"info", 6}, {"debug", 7}, {nullptr, 6}};
  for (const auto& [text, level] : levels) EXPECT_EQ(writesOf(text, printAtEachPriority), linesUpTo(level));
}

TEST(LogLevel, AnyOtherTextIsReportedAndMeansInfo) {
  for (const char* const text : {"", "8", "-1", "03", "3 ", "Debug"}) {
    const std::string refusal = "logservice: LOG_LEVEL=" + std::string(text) +
                                " is not a level (0 to 7, error, warning, info, debug): using 6";
    Writes expected = linesUpTo(6);
    expected.insert(expected.begin(), {"4 " + refusal, "<4>" + refusal + "\n"});
    EXPECT_EQ(writesOf(text, printAtEachPriority), expected);
  }
}

TEST(LogLine, IsOneWriteWhateverItsLength) {
  for (const std::size_t length : {0U, 60'000U}) {
    const std::string text(length, 'x');
    const auto print = [&] { log_print("tag", LOG_INFO, "%s.", text.c_str()); };
    EXPECT_EQ(writesOf("6", print), (Writes{"6 tag: " + text + ".", "<6>tag: " + text + ".\n"}));
  }
}

TEST(LogLine, ShowsControlCharactersAsQuestionMarks) {
  const auto print = [] { log_print("tag", LOG_INFO, "a\nb\033[1m\x7f\t%cé ~", '\0'); };
  EXPECT_EQ(writesOf("6", print), (Writes{"6 tag: a?b?[1m???é ~", "<6>tag: a?b?[1m???é ~\n"}));
}

TEST(LogLine, IsNotFormattedBelowTheLevel) {
  const auto print = [] { log_print("tag", LOG_DEBUG, "%s", reinterpret_cast<const char*>(1)); };
  EXPECT_EQ(writesOf("6", print), Writes());
}

TEST(LogLine, LeavesErrnoAsItWas) {
  writesOf("6", [] {
    errno = EPERM;
    log_print("tag", LOG_INFO, "text");
    if (errno != EPERM) _exit(errno);
  });
}

TEST(LogLine, OnATerminalHasALetterAndAColour) {
  int terminal = -1, screen = -1;
  ASSERT_EQ(openpty(&screen, &terminal, nullptr, nullptr, nullptr), 0);
  writesOf("7", [&] {
    dup2(terminal, STDERR_FILENO);
    log_print("tag", LOG_ERR, "text");
  });
  char shown[100];
  const ssize_t count = read(screen, shown, sizeof(shown));
  EXPECT_EQ(std::string(shown, static_cast<std::size_t>(count)), "\033[31mE tag: text\033[0m\r\n");
  close(terminal);
  close(screen);
}

}  // namespace

// Stands in for the C library's, whose lines only the system log's reader could look at.
extern "C" void syslog(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string line = std::to_string(priority) + " " + va_arg(arguments, const char*);  // for "%s"
  va_end(arguments);
  EXPECT_EQ(write(SYSTEM_LOG, line.data(), line.size()), static_cast<ssize_t>(line.size()));
}
