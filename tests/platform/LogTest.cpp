#include <gmock/gmock.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>

#include "logservice/log.h"

namespace {

using testing::Eq;
using testing::ExitedWithCode;

/// Ends the process, since the level is read once in each.
[[noreturn]] void printAtEachPriority(const char* level) {
  level == nullptr ? unsetenv("LOG_LEVEL") : setenv("LOG_LEVEL", level, 1);
  for (int priority = -1; priority <= 8; ++priority) log_print("tag", priority, "text");
  _exit(0);
}

std::string linesUpTo(int level) {
  std::string lines;
  for (int priority = 0; priority <= level; ++priority)
    lines += "<" + std::to_string(priority) + ">tag: text\n";
  return lines;
}

TEST(LogLevelDeathTest, IsTheHighestPriorityAdmitted) {
  const std::pair<const char*, int> levels[] = {{"0", 0},    {"error", 3}, {"warning", 4},
                                                {"info", 6}, {"debug", 7}, {nullptr, 6}};
  for (const auto& [text, level] : levels)
    EXPECT_EXIT(printAtEachPriority(text), ExitedWithCode(0), Eq(linesUpTo(level)));
}

TEST(LogLevelDeathTest, AnyOtherTextIsReportedAndMeansInfo) {
  for (const std::string text : {"", "8", "-1", "03", "Debug"})
    EXPECT_EXIT(printAtEachPriority(text.c_str()), ExitedWithCode(0),
                Eq("<4>logservice: LOG_LEVEL=" + text +
                   " is not a level (0 to 7, error, warning, info, debug): using 6\n" + linesUpTo(6)));
}

TEST(LogLine, HasControlCharactersAsQuestionMarks) {
  testing::internal::CaptureStderr();
  log_print("tag", LOG_ERR, "a\nb\033[1m\x7f\t%cé ~", '\0');
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "<3>tag: a?b?[1m???é ~\n");
}

}  // namespace
