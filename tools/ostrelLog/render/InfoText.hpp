#pragma once

#include <iosfwd>

#include "ostrelLog/summary/LogSummary.hpp"

namespace logtool {

/// Writes a summary for a person: the file and its kind, then rows of a label and a text. With
/// `everyColumn`, a row for each column or variable as well. Control characters in names are written as
/// '?'.
void writeText(std::ostream& out, const LogSummary& log, bool everyColumn);

}  // namespace logtool
