#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/convert/Columns.hpp"

namespace logtool {

/// Takes the next bytes of a file. 0 or a negated errno.
using Sink = std::function<int(const void* bytes, std::size_t count)>;

/// Writes the records of a flight in a format that other programs read. Every operation gives 0 or a
/// negated errno, that of the sink; after a failure the output is of no use.
class FlightWriter {
 public:
  FlightWriter() = default;
  FlightWriter(const FlightWriter&) = delete;
  FlightWriter& operator=(const FlightWriter&) = delete;
  virtual ~FlightWriter() = default;

  /// Begins the output. `tables` are borrowed until the end: what is exported of the records to come.
  virtual int begin(const std::vector<Table>& tables) = 0;

  /// Adds a record of the table at this position of `tables`. `time` is in nanoseconds.
  virtual int add(std::size_t table, const Record& record, std::uint64_t time) = 0;

  /// Ends the output: hands over what the sink has not got yet.
  virtual int end() = 0;
};

}  // namespace logtool
