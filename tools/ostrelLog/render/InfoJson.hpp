#pragma once

#include <iosfwd>
#include <variant>
#include <vector>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/summary/LogSummary.hpp"

namespace logtool {

/// Writes an array with an object for each file: its summary with every variable, or
/// {"file": ..., "error": ...} for a file that could not be opened. Values that a log does not have are
/// null. Bytes of a damaged log that are no text become U+FFFD.
void writeJson(std::ostream& out, const std::vector<std::variant<LogSummary, Fault>>& files);

}  // namespace logtool
