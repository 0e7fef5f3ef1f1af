#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ostrelLog/compare/CompareOptions.hpp"
#include "ostrelLog/compare/LogPair.hpp"
#include "ostrelLog/fleet/FlightJob.hpp"

namespace logtool {

/// The options of a run, as given.
struct FleetOptions {
  std::vector<std::string> flights;
  std::string list;
  LogPair<std::string> folders;  ///< of libraries; empty: those that a replay finds itself
  std::string rows;
  std::string baseline;
  std::string keep;
  bool keepAll = false;
  Shard shard;
  std::optional<unsigned> jobs;
  double timeout = 600;
  CompareOptions comparison;
  std::string pace = "yield";
  std::string isolate = "auto";
  std::string replay;  ///< program; empty: the one beside this program
};

/// Fills in what all flights are done by, and prints which libraries the replays load. A fault when a
/// folder's libraries would not be loaded, or when something is missing. May throw std::system_error.
std::optional<Fault> preparePlan(const FleetOptions& options, FleetPlan& plan);

/// Decides whether replays get a /dev/shm of their own: by one replay of each side, since a logging service
/// outside of the namespace would not see what an isolated replay publishes. `folder` is used and left
/// behind. Says so when replays have to run one at a time. A fault when `--isolate require` can't be met.
std::optional<Fault> settleIsolation(const FleetOptions& options, const std::vector<Flight>& flights,
                                     const std::string& folder, FleetPlan& plan);

/// How many flights run at the same time when `--jobs` does not say so.
unsigned defaultJobs();

}  // namespace logtool
