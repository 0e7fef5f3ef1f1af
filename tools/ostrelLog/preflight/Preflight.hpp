#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/preflight/Finding.hpp"
#include "ostrelLog/summary/LogSummary.hpp"

namespace logtool {

/// The logs that a replay is to be given, and what it is to be run with.
struct CheckOptions {
  std::string continuous;
  std::string events;
  std::string library;  ///< directory of the flight-control library; empty: as a replay finds it
  std::optional<std::string> section;  ///< of a blackbox log; otherwise a replay's own choice
};

/// What a replay would make of two logs.
struct CheckResult {
  enum Verdict { LOSSLESS, LOSSES, UNABLE };

  Verdict verdict() const;

  std::optional<Fault> obstacle;       ///< why no replay can run: of what follows, only some is known then
  std::string library;                 ///< path of the flight-control library
  std::size_t apis = 0;                ///< those of the library
  std::string variant;                 ///< the hardware variant
  std::string variantSource;           ///< where it comes from
  std::optional<std::string> section;  ///< of a blackbox log: the one that is replayed
  std::size_t sensors = 0;       ///< values that a replay takes from each sample, the index among them
  std::size_t boundSensors = 0;  ///< those that the log has
  IndexSummary steps;            ///< those that are run
  bool hasIndex = true;          ///< otherwise each of them is step 0
  std::uint64_t calls = 0;       ///< those in the event log
  std::uint64_t callsMade = 0;
  std::vector<Finding> findings;
};

/// Reads both logs as a replay does, with the replay's own parsers and binding, but makes no call and runs
/// no step. A replay with the option -d needs no hardware variant from the logs; this one has no such
/// option.
CheckResult check(const CheckOptions& options);

}  // namespace logtool
