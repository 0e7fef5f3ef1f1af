#pragma once

#include <string>

namespace Ostrel::Utils {

/// Joins two parts of a dotted name: prefix, '.', suffix, or the other part alone when one is empty.
/// Nothing is trimmed.
std::string join(std::string prefix, std::string suffix);

}  // namespace Ostrel::Utils
