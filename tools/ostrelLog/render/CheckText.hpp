#pragma once

#include <iosfwd>

#include "ostrelLog/preflight/Preflight.hpp"

namespace logtool {

/// Writes the verdict in the first line, then rows of a label and a text, those of the losses first.
/// Control characters in names are written as '?'.
void writeText(std::ostream& out, const CheckResult& result);

}  // namespace logtool
