#pragma once

#include <iosfwd>

#include "ostrelLog/preflight/Preflight.hpp"

namespace logtool {

/// Writes an object with the verdict and all that is known. Bytes of a damaged log that are no text become
/// U+FFFD.
void writeJson(std::ostream& out, const CheckResult& result);

}  // namespace logtool
