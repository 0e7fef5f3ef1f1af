#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/Selection.hpp"

namespace logtool {

/// Walks through the selected records of a log: those of one section of a blackbox log, the selected calls
/// of an event log, all records of a continuous log.
class LogCursor {
 public:
  /// Stops at the first record. The source and the selection are borrowed and outlive the cursor. A
  /// blackbox log needs the name of a section. With `numberRecords`, each record gets its number among the
  /// selected ones, from 0, in place of its index.
  LogCursor(LogSource& log, const Selection& selected, std::optional<std::string> sectionName,
            bool numberRecords);

  /// Goes on to the next selected record.
  void next();

  /// The first layout with records to be taken; null when the log has shown none so far.
  const RecordLayout* layout() const;

  LogSource& source;
  Record record{};
  bool present = false;     ///< `record` holds one; false at the end of the log
  std::uint64_t count = 0;  ///< records so far
  bool gaps = false;        ///< whether an index so far was more than one higher than the one before

 private:
  bool wanted();

  const Selection& selection;
  const std::optional<std::string> section;
  bool byRecord;
};

}  // namespace logtool
