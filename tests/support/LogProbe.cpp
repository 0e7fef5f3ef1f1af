#include "support/LogProbe.hpp"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "logservice/log.h"

namespace {

struct Line {
  int priority;
  std::string text;
};

std::vector<Line>& keptLines() {
  static std::vector<Line> lines;
  return lines;
}

}  // namespace

std::vector<std::string> takeLogLines(int lowestPriority) {
  std::vector<std::string> texts;
  for (const Line& line : keptLines()) {
    if (line.priority <= lowestPriority)
      texts.push_back("<" + std::to_string(line.priority) + ">" + line.text);
  }
  keptLines().clear();
  return texts;
}

int log_admits(const char* /*tag*/, int /*priority*/) {
  return 1;
}

void log_print(const char* /*tag*/, int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) < 0) std::abort();
  va_end(arguments);
  std::fprintf(stderr, "<%d>%s\n", priority, text);
  keptLines().push_back({priority, text});
  std::free(text);
}
