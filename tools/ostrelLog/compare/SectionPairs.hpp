#pragma once

#include <optional>
#include <string>
#include <vector>

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/Selection.hpp"
#include "ostrelLog/compare/DiffResult.hpp"
#include "ostrelLog/compare/LogPair.hpp"

namespace logtool {

/// Which sections of two logs are compared with each other.
struct SectionPairs {
  std::vector<SectionNames> pairs;          ///< in the order of their names
  LogPair<std::vector<std::string>> alone;  ///< with samples, and unknown to the other log
  std::optional<Fault> fault;               ///< why a legacy log has no section to be compared with
};

/// Pairs the sections of two logs. Reads a blackbox log to its end; does not read in a legacy log. Where
/// each log has one section with samples, or is a legacy log, these are a pair whatever their names;
/// otherwise sections are paired by name. Sections without samples in both logs, or without anything
/// selected, are left out.
SectionPairs pairSections(const LogPair<LogSource*>& sources, const Selection& selection);

}  // namespace logtool
