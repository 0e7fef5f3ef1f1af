#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "logfile/scan/LogSource.hpp"

/// The names that are to be compared, as shell patterns say. A pattern also stands for the very name that
/// it is, though brackets in it mean something else. Without any pattern, every name is selected.
class Selection {
 public:
  /// The patterns are borrowed and outlive the selection.
  explicit Selection(const std::vector<std::string>& namePatterns) : patterns(namePatterns) {}

  bool has(const std::string& name) const;

  /// Whether an argument of a call is to be compared: it is named API.ARGUMENT, and its API's name selects
  /// it too.
  bool has(const RecordLayout& api, const telemetry::VarDesc& argument) const;

  /// Whether a call is to be compared: its API, or at least one argument, is.
  bool has(const RecordLayout& api) const;

 private:
  const std::vector<std::string>& patterns;
};

/// Which records of a log a cursor stops at.
struct CursorOptions {
  std::string section;  ///< of a blackbox log; empty for the first that has samples
  bool byRecord;        ///< records get their number in place of their index
};

/// Walks through those records of a log that are to be compared: those of one section of a blackbox log,
/// the selected calls of an event log, all of a continuous log.
class LogCursor {
 public:
  /// Stops at the first record. The source and the selection are borrowed and outlive the cursor.
  LogCursor(LogSource& log, CursorOptions cursorOptions, const Selection& selected);

  void next();

  /// The first layout that takes part in the comparison; null when the log has shown none.
  const RecordLayout* layout() const;

  LogSource& source;
  Record record{};
  bool present = false;     ///< `record` is one; false at the end of the log
  std::uint64_t count = 0;  ///< records so far

 private:
  bool wanted();

  CursorOptions options;
  const Selection& selection;
};
