#pragma once

#include <string>
#include <string_view>

namespace logtool {

/// Follows the log lines that a replay writes on standard error, in memory that does not grow.
class LineWatch {
 public:
  void add(std::string_view bytes);

  /// The last line at priority 0 to 4, or without a priority, other than the choice of the variant.
  const std::string& lastLine() const { return last; }

  /// Whether there was any line at all, the choice of the variant among them.
  bool sawLines() const { return seen; }

  /// The error of the machine that a line told of, such as ENOSPC; 0 without one.
  int machineError() const { return error; }

 private:
  void endLine();

  std::string line;  // so far
  std::string last;
  int error = 0;
  bool seen = false;
};

}  // namespace logtool
