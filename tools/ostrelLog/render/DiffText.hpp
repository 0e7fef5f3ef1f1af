#pragma once

#include <iosfwd>

#include "ostrelLog/compare/DiffResult.hpp"

namespace logtool {

/// Writes what a comparison has found for a person: a line for each pair of sections when nothing
/// differs; otherwise both logs and for each pair of sections the first difference, what only one log has,
/// and a table of the variables that differ. Control characters in
/// names are written as '?'.
void writeText(std::ostream& out, const DiffResult& result);

}  // namespace logtool
