#pragma once

#include <optional>
#include <string>
#include <vector>

/// What `ostrelLog diff` is asked for.
struct DiffOptions {
  std::string fileA;
  std::string fileB;
  std::optional<double> tolerance;  ///< absolute, not negative; unset compares exactly
  std::vector<std::string> only;    ///< patterns of the names to compare; empty for all
  std::string section;              ///< of blackbox logs; empty for the first that has samples
  bool byRecord = false;            ///< lines records up by their number instead of their index
};

/// Compares two logs and says on standard output in what they differ.
///
/// Records are lined up by index, those of event logs by step: both logs are read in file order, and the
/// record with the lower index is one that only its log has. Indices that repeat, or go back in both logs
/// alike, are therefore compared in file order. Memory does not grow with the logs' length.
///
/// Exact comparison goes by value: NaN equals NaN, -0.0 differs from 0.0. With a tolerance, -0.0 equals
/// 0.0, and infinities and NaN equal only themselves. Against a blackbox log, the doubles of a legacy log
/// count as what a replay stores in a variable of the blackbox variable's type.
///
/// Returns the exit status: 0 when the logs are the same, 1 when they differ, 2 after one line on standard
/// error when there was trouble: a log that can't be read, is cut or damaged, or nothing to compare.
int diffLogs(const DiffOptions& options);

/// The exit status of trouble.
constexpr int EXIT_TROUBLE = 2;
