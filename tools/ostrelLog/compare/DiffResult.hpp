#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/compare/LogPair.hpp"

namespace logtool {

/// One of the compared logs, and what the other one does not have of it.
struct ComparedLog {
  std::string file;
  LogEnd end;
  std::uint64_t records = 0;       ///< selected ones
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

/// What the comparison of two logs has found.
struct DiffResult {
  bool same() const;

  /// Whether both logs could be read to a proper end.
  bool whole() const;

  bool ofCalls = false;  ///< of two event logs, whose records are calls
  LogPair<ComparedLog> logs;
  std::uint64_t pairs = 0;  ///< records that both logs have
  std::set<std::string> sharedVariables;
  std::optional<FirstDifference> first;
  std::map<std::string, VariableDifference> differences;  ///< by the variable's name
  std::optional<Fault> fault;  ///< why the logs have nothing that could be compared
};

}  // namespace logtool
