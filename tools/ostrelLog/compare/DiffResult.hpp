#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/compare/LogPair.hpp"

namespace logtool {

/// What one of the logs has of two compared sections, and what the other log does not have of it.
struct ComparedRecords {
  std::uint64_t records = 0;       ///< selected ones
  bool gaps = false;               ///< their index leaves steps out
  std::uint64_t recordsAlone = 0;  ///< records that only this log has
  std::int64_t firstAlone = 0;     ///< index of the first of them
  std::set<std::string> variablesAlone;
};

/// The first difference in the order of the records.
struct FirstDifference {
  std::int64_t index;
  /// What differs: a variable with its element, or "call" where the logs call different APIs. In a record
  /// that only one log has, the API that is called; empty for a sample.
  std::string what;
  std::optional<Side> onlyIn;   ///< set where only this log has the record
  LogPair<std::string> values;  ///< where both have it
};

/// All differences of one variable.
struct VariableDifference {
  std::uint64_t records = 0;  ///< that differ in it
  /// Absolute; infinite when a difference is no number. NaN for what has no difference to measure.
  long double largest = std::numeric_limits<long double>::quiet_NaN();
  std::int64_t firstIndex = 0;
};

/// The names of two sections that are compared; without a value for a legacy log, which has no sections.
using SectionNames = LogPair<std::optional<std::string>>;

/// What the comparison of two sections has found, or that of two logs without sections.
struct SectionDiff {
  bool same() const;

  /// The log whose index has gaps that keep steps of both logs apart.
  std::optional<Side> keptApartByGapsOf() const;

  SectionNames sections;
  LogPair<ComparedRecords> logs;
  std::uint64_t pairs = 0;            ///< records that both logs have
  std::uint64_t pairsThatDiffer = 0;  ///< in the variables that both have
  std::set<std::string> sharedVariables;
  std::optional<FirstDifference> first;
  std::map<std::string, VariableDifference> differences;  ///< by the variable's name
};

/// What the comparison of two logs has found.
struct DiffResult {
  bool same() const;

  /// Whether both logs could be read to a proper end, and compared in full.
  bool whole() const;

  /// Why there is no comparison; none when values, or calls, were compared.
  std::optional<Fault> trouble() const;

  enum Answer { SAME, DIFFERENT, TROUBLE };
  Answer answer() const;

  bool ofCalls = false;  ///< of two event logs, whose records are calls
  LogPair<std::string> files;
  LogPair<std::optional<LogEnd>> ends;  ///< unset for a log that was not read to its end
  LogPair<std::map<std::string, std::uint64_t>>
      unusual;  ///< calls that can't be compared (LogSource::unusual)
  std::vector<SectionDiff> parts;
  LogPair<std::vector<std::string>> sectionsAlone;  ///< that only one log has
  std::optional<Fault> fault;                       ///< why the logs could not be compared

 private:
  /// What the logs do not have in common, so that nothing was compared; null when something was.
  const char* missingInCommon() const;
};

}  // namespace logtool
