#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/Output.hpp"

namespace logtool {

/// Steps that are missing from a log.
struct Gap {
  std::int64_t after;     ///< index of the last step before them
  std::uint64_t missing;  ///< their number
};

/// What the step indices of records come to, taken in the order of the records.
struct IndexSummary {
  /// Only so many gaps are kept one by one, which bounds the memory.
  static constexpr std::size_t GAPS_LISTED = 5;

  /// Takes in the index of the next record.
  void add(std::int64_t index);

  /// Counts a gap. Part of add(); alone for whoever only wants to count gaps.
  void addGap(const Gap& gap);

  std::uint64_t count = 0;  ///< records; without any, the other values mean nothing
  std::int64_t first = 0;
  std::int64_t last = 0;
  std::uint64_t repeated = 0;   ///< times that an index equals the one before
  std::uint64_t backwards = 0;  ///< times that an index is lower than the one before
  std::uint64_t late = 0;       ///< records whose index is lower than one before
  std::int64_t highest = 0;     ///< index so far
  std::uint64_t gapCount = 0;
  std::uint64_t missing = 0;  ///< steps in all gaps
  Gap largest{0, 0};          ///< the first one of this size
  std::vector<Gap> firstGaps;
};

/// The records of one layout: of a section, of an API, or of a whole continuous log.
struct LayoutSummary {
  RecordLayout layout;
  IndexSummary records;
};

/// What a log is and holds.
struct LogSummary {
  std::string file;
  LogKind kind;
  std::string variant;   ///< the vehicle's hardware variant; empty when the log names none
  IndexSummary records;  ///< all of them, whatever their layout
  std::vector<LayoutSummary> layouts;
  /// Numbers of calls, by what is unusual about them (LogSource::unusual).
  std::map<std::string, std::uint64_t> unusual;
  LogEnd end;
};

/// Reads the log to its end, and hands each record to `onRecord`, where there is one. Memory does not grow
/// with the log's length.
LogSummary summarize(LogSource& log, const std::function<void(const Record&)>& onRecord = {});

/// The names of a blackbox log's sections that have samples.
std::set<std::string> sampledSections(const LogSummary& summary);

/// Why none of these sections was taken where a blackbox log needs exactly one with samples.
Fault notOneSection(const std::string& file, const std::set<std::string>& sampled);

}  // namespace logtool
