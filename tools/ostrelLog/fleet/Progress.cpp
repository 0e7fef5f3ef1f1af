#include "ostrelLog/fleet/Progress.hpp"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <iostream>

namespace logtool {

namespace {

constexpr std::chrono::milliseconds ON_TERMINAL(500);
constexpr std::chrono::minutes ELSEWHERE(1);

std::string duration(double seconds) {
  const long minutes = std::lround(seconds / 60);
  if (seconds < 120) return std::to_string(std::lround(seconds)) + " s";
  if (minutes < 120) return std::to_string(minutes) + " min";
  return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

}  // namespace

Progress::Progress(std::size_t flights)
    : total(flights), onTerminal(isatty(STDERR_FILENO) != 0), begin(Clock::now()), shown(begin) {}

void Progress::count(const std::string& verdict, bool doneBefore) {
  ++verdicts[verdict];
  ++counted;
  if (doneBefore) ++before;
}

std::size_t Progress::with(const std::string& verdict) const {
  const auto found = verdicts.find(verdict);
  return found == verdicts.end() ? 0 : found->second;
}

std::size_t Progress::failed() const {
  return with("failed-a") + with("failed-b") + with("failed-both");
}

std::string Progress::headline() const {
  std::string line = std::to_string(with("changed")) + " changed, " + std::to_string(with("same")) +
                     " same, " + std::to_string(failed()) + " failed";
  for (const char* verdict : {"unstable", "nothing-compared", "bad-input"}) {
    if (with(verdict) > 0) line += ", " + std::to_string(with(verdict)) + " " + verdict;
  }
  return line + " of " + std::to_string(total);
}

std::string Progress::text() const {
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  const double rate = static_cast<double>(counted - before) / seconds;
  char speed[32];
  static_cast<void>(std::snprintf(speed, sizeof(speed), "%.1f", rate));
  std::string line = std::to_string(counted) + " of " + std::to_string(total) + " done, " +
                     std::to_string(with("changed")) + " changed, " + std::to_string(failed()) +
                     " failed, " + speed + " a second";
  if (rate > 0) line += ", " + duration(static_cast<double>(total - counted) / rate) + " left";
  return line;
}

void Progress::show() {
  const auto now = Clock::now();
  if (onTerminal ? now - shown < ON_TERMINAL : now - shown < ELSEWHERE) return;
  shown = now;
  // The second part removes what is left of a longer line.
  std::cerr << (onTerminal ? "\r" + text() + "\033[K" : text() + "\n") << std::flush;
}

void Progress::finish() const {
  if (onTerminal && shown != begin) std::cerr << "\r\033[K" << std::flush;
}

}  // namespace logtool
