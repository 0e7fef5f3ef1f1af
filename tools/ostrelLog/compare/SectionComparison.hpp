#pragma once

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/compare/CompareOptions.hpp"
#include "ostrelLog/compare/DiffResult.hpp"
#include "ostrelLog/compare/LogPair.hpp"

namespace logtool {

/// Compares two sections, or two logs without sections, reading both logs from their start to their end.
///
/// Records are lined up by index, those of event logs by step: both logs are read in file order, and of two
/// different indices, the lower one belongs to a record that only its log has. Indices that repeat, or go
/// back in both logs alike, are therefore compared in file order. Memory does not grow with the logs'
/// length.
///
/// Exact comparison goes by value: NaN equals NaN, -0.0 differs from 0.0. With a tolerance, -0.0 equals
/// 0.0, and infinities and NaN equal only themselves. Against a blackbox log, the doubles of a legacy log
/// count as what a replay stores in a variable of the blackbox variable's type.
SectionDiff compareSections(const LogPair<LogSource*>& sources, const SectionNames& sections,
                            const CompareOptions& options);

}  // namespace logtool
