#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/Selection.hpp"

namespace logtool {

/// What is exported, and how.
struct ExportOptions {
  enum Format { CSV, MCAP };

  std::string log;                    ///< of any kind
  std::optional<std::string> events;  ///< an event log whose calls go with the samples of `log`; MCAP only
  Format format = CSV;
  std::optional<std::string> output;  ///< a file; otherwise standard output, CSV only
  Selection selection;
  std::optional<std::string> section;  ///< of a blackbox log; otherwise the only one that has samples
  std::int64_t from = std::numeric_limits<std::int64_t>::min();  ///< first index
  std::int64_t to = std::numeric_limits<std::int64_t>::max();    ///< last index
  std::optional<double> rate;  ///< steps a second, above 0: the times are then indices divided by it
  bool compress = true;        ///< MCAP only
};

/// What was exported.
struct ExportedFlight {
  std::uint64_t samples = 0;
  std::uint64_t calls = 0;
  std::string time;          ///< what the times of the messages are
  std::vector<Fault> flaws;  ///< of the logs, for the person who asked
  bool whole = true;         ///< false when a log is cut or damaged: its good part was exported
};

/// Exports a flight. Memory does not grow with its length, but for the summary of an MCAP file
/// (McapFile.hpp). A file appears under its name only when it is whole; after a fault, what stood there
/// before stays as it was.
std::variant<ExportedFlight, Fault> exportFlight(const ExportOptions& options);

}  // namespace logtool
