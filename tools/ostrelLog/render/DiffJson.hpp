#pragma once

#include <iosfwd>

#include "ostrelLog/compare/DiffResult.hpp"

namespace logtool {

/// Writes what a comparison has found as one object, for programs. Bytes of a damaged log that are no text
/// become U+FFFD.
void writeJson(std::ostream& out, const DiffResult& result);

}  // namespace logtool
