#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/rescue/Pieces.hpp"

namespace logtool {

/// The steps that a copy keeps, both limits among them; all steps when nothing else is said.
struct Window {
  std::int64_t from = std::numeric_limits<std::int64_t>::min();
  std::int64_t to = std::numeric_limits<std::int64_t>::max();
};

/// What a copy holds, and what the log had besides.
struct LogCopy {
  std::uint64_t records = 0;           ///< kept, without the call behind the window
  std::int64_t lowest = 0;             ///< step of these records
  std::int64_t highest = 0;            ///< step of these records
  std::uint64_t keptBytes = 0;         ///< of the log
  bool hasEarlier = false;             ///< the log has records of steps before the window
  std::uint64_t logBytes = 0;          ///< all of the log
  std::optional<std::int64_t> behind;  ///< step of the call behind the window that is in the copy too
  bool closed = false;                 ///< the copy has an end block that is not the log's
  Losses losses;
};

/// Writes the part of the log at `path` that can be trusted, as far as it is in the window, as a whole log
/// of the same kind. Its bytes are those of the log. `newPath` is another file; it is replaced only when
/// the copy is whole. A log without a whole record in the window is a fault, unless it is an event log that
/// is whole or has one elsewhere.
///
/// A replay does not make the calls that it reads together with the end of an event log. The copy of one
/// therefore also has the first call behind the window, which no sample of the window reaches.
std::variant<LogCopy, Fault> copyLog(const std::string& path, const std::string& newPath,
                                     const Window& window);

/// Writes what was kept and what was lost, in one row each.
void writeText(std::ostream& out, const LogCopy& copy);

}  // namespace logtool
