#pragma once

#include <iosfwd>

namespace logtool {

/// Starts an output row with its label.
std::ostream& row(std::ostream& out, const char* label);

}  // namespace logtool
