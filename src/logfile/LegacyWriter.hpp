#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "logfile/ApiCall.hpp"
#include "logfile/OutputFile.hpp"
#include "ostrel/api_input.hpp"
#include "registry/DataRegistry.hpp"

/// The writing side of the legacy log format (LegacyLayout.hpp). No name or value of a header may hold a
/// blank, ',', ':' or a control character.

/// What the header tells of a log's origin.
struct LogOrigin {
  std::string description;  ///< the first line; any text of one line
  int rate;                 ///< steps a second
  std::string variant;      ///< the vehicle's hardware variant
};

/// Writes a continuous log: the values that a registry's entries have at each write.
class LegacyContinuousWriter {
 public:
  /// The registry is borrowed, frozen, and outlives the writer. Its entry "index", if there is one, becomes
  /// the first column; the others follow in name order.
  explicit LegacyContinuousWriter(const DataRegistry& source);

  /// Writes the header into `file`, which is borrowed and open. 0, or the negated errno of the failed
  /// write.
  int begin(OutputFile& target, const LogOrigin& origin);

  /// Appends a record of the entries' present values. 0, or the negated errno of the failed write.
  int write();

  std::size_t columnCount() const { return columns.size(); }

 private:
  OutputFile* file = nullptr;           // borrowed from begin() on
  std::vector<DataEntryBase*> columns;  // borrowed from the registry
  std::vector<double> record;           // one value per column
};

/// Writes an event log. APIs, arguments and their types are those of the flight-control library that this
/// program runs with.
class LegacyEventWriter {
 public:
  LegacyEventWriter();

  /// Writes the header into `file`, which is borrowed and open. 0, or the negated errno of the failed
  /// write.
  int begin(OutputFile& target, const LogOrigin& origin);

  /// Appends a record of the call, whose step is not below that of the call before. Each value is recorded
  /// as the argument's type holds it. 0, or the negated errno of the failed write; -ENOSYS when the
  /// library has no API of that name with exactly these arguments, and then nothing is written.
  int write(const ApiCall& call);

 private:
  struct Api {
    const DataEntryBase* entry;
    std::vector<DataEntryBase*> arguments;
  };

  OutputFile* file = nullptr;  // borrowed from begin() on
  ::Api::Input inputs;         // outlives `registry`, whose entries point into it
  DataRegistry registry;
  std::vector<Api> apis;  // an API's position is its event id
  std::vector<double> record;
};
