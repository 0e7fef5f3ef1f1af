#include <gtest/gtest.h>
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
using Lines = std::vector<std::string>;

// What `body` wrote, write by write: each line for the system log, then standard error's. In a process of
// its own, because the level is read once.
Lines logged(const std::string& level, const std::function<void()>& body) {
  int channel[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, channel), 0);  // keeps writes apart
  if (fork() == 0) {
    level == "unset" ? unsetenv("LOG_LEVEL") : setenv("LOG_LEVEL", level.c_str(), 1);
    dup2(channel[1], SYSTEM_LOG);
    dup2(channel[1], STDERR_FILENO);
    body();
    _exit(0);
  }
  close(channel[1]);
  Lines lines;
  std::string bytes(100'000, '\0');
  for (ssize_t n; (n = recv(channel[0], bytes.data(), bytes.size(), 0)) > 0;) {
    lines.push_back(bytes.substr(0, static_cast<std::size_t>(n)));
  }
  close(channel[0]);
  int status = -1;
  EXPECT_TRUE(wait(&status) > 0 && status == 0);
  return lines;
}

TEST(LogLevel, IsTheHighestPriorityAdmitted) {
  const std::map<std::string, int> levels = {
      {"0", 0},     {"3", 3}, {"7", 7},  {"error", 3}, {"warning", 4}, {"info", 6}, {"debug", 7},
      {"unset", 6}, {"", -1}, {"8", -1}, {"-1", -1},   {"03", -1},     {"3 ", -1},  {"Debug", -1}};
  for (const auto& [text, level] : levels) {
    const std::string refusal =
        "logservice: LOG_LEVEL=" + text + " is not a level (0 to 7, error, warning, info, debug): using 6";
    Lines expected;
    if (level < 0) expected = {"4 " + refusal, "<4>" + refusal + "\n"};
    for (int priority = 0; priority <= (level < 0 ? 6 : level); ++priority) {
      expected.push_back(std::to_string(priority) + " tag: text");
      expected.push_back("<" + std::to_string(priority) + ">tag: text\n");
    }
    const auto body = [] {
      for (int priority = -1; priority <= 8; ++priority) log_print("tag", priority, "text");
    };
    EXPECT_EQ(logged(text, body), expected) << text;
  }
}

TEST(LogLine, IsOneWriteWhateverItsLengthAndShowsControlCharacters) {
  for (const std::size_t length : {0U, 1013U, 1014U, 1015U, 1016U, 60'000U}) {  // around the stack's room
    const std::string text(length, 'x');
    const auto body = [&] {
      errno = EPERM;  // kept, though a look for a terminal fails
      log_print("tag", LOG_DEBUG, "%s", reinterpret_cast<const char*>(1));  // not formatted
      log_print("tag", LOG_INFO, "%sa\nb\033[1m\x7f\té", text.c_str());
      if (errno != EPERM) _exit(errno);
    };
    const std::string line = "tag: " + text + "a?b?[1m??é";
    EXPECT_EQ(logged("6", body), (Lines{"6 " + line, "<6>" + line + "\n"})) << length;
  }
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
