#pragma once

#include <optional>

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/Selection.hpp"
#include "ostrelLog/compare/DiffResult.hpp"
#include "ostrelLog/compare/LogPair.hpp"

namespace logtool {

/// What is compared, and how strictly.
struct CompareOptions {
  Selection selection;
  std::optional<double> tolerance;  ///< absolute, not negative; unset compares exactly
  bool byRecord = false;            ///< lines records up by their number instead of their index
};

/// Compares two logs, reading both to their ends.
///
/// Records are lined up by index, those of event logs by step: both logs are read in file order, and of two
/// different indices, the lower one belongs to a record that only its log has. Indices that repeat, or go
/// back in both logs alike, are therefore compared in file order. Memory does not grow with the logs'
/// length.
///
/// Exact comparison goes by value: NaN equals NaN, -0.0 differs from 0.0. With a tolerance, -0.0 equals
/// 0.0, and infinities and NaN equal only themselves. Against a blackbox log, the doubles of a legacy log
/// count as what a replay stores in a variable of the blackbox variable's type.
DiffResult compare(const LogPair<LogSource*>& sources, const CompareOptions& options);

}  // namespace logtool
