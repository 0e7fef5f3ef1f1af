#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

namespace logtool {

/// How many flights came out how, and how far the run is, for the person who watches.
class Progress {
 public:
  explicit Progress(std::size_t flights);

  /// Counts a flight; one that an earlier run has done says nothing about the speed of this one.
  void count(const std::string& verdict, bool doneBefore);

  /// Writes where the run is on standard error when it is time to: on a terminal twice a second over the
  /// same line, otherwise once a minute in a line of its own.
  void show();

  /// Ends the line on a terminal.
  void finish() const;

  /// "11 changed, 55 same, 0 failed of 66"; other verdicts only where there are any.
  std::string headline() const;

  std::size_t with(const std::string& verdict) const;
  std::size_t done() const { return counted; }

 private:
  using Clock = std::chrono::steady_clock;

  std::size_t failed() const;
  std::string text() const;

  const std::size_t total;
  const bool onTerminal;
  const Clock::time_point begin;
  Clock::time_point shown;
  std::map<std::string, std::size_t> verdicts;
  std::size_t counted = 0;
  std::size_t before = 0;  // done by an earlier run
};

}  // namespace logtool
