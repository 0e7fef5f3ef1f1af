#pragma once

#include <string>

#include "ostrelLog/compare/CompareOptions.hpp"
#include "ostrelLog/compare/DiffResult.hpp"
#include "ostrelLog/compare/LogPair.hpp"

namespace logtool {

/// Compares two logs, section by section (SectionPairs.hpp). Each pair of sections takes one more reading
/// of both logs, so that memory does not grow with their length; where the options do not name the
/// sections, blackbox logs are read once before to find them.
DiffResult compare(const LogPair<std::string>& files, const CompareOptions& options);

}  // namespace logtool
