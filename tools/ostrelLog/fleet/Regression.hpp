#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ostrelLog/ExitStatus.hpp"
#include "ostrelLog/fleet/FleetSetup.hpp"
#include "ostrelLog/fleet/Pool.hpp"
#include "ostrelLog/fleet/Progress.hpp"
#include "ostrelLog/fleet/RowFile.hpp"

namespace logtool {

/// A run over many flights: hands them to a pool of processes, and writes a row for each.
class Regression {
 public:
  /// Both are borrowed, and so are the flights; the folder exists.
  Regression(const FleetOptions& fleetOptions, const FleetPlan& fleetPlan, RowFile& rowFile,
             const std::vector<Flight>& allFlights, std::string workFolder);

  /// Does all flights that have no row yet, or until a signal comes. Throws std::system_error for trouble
  /// of the machine, after the rows of all flights that were done.
  void run();

  /// Prints the headline, and gives the status that it stands for.
  ExitStatus conclude() const;

 private:
  using Clock = std::chrono::steady_clock;

  /// A flight that a signal has disturbed. It gets its row when no signal has reached this process, either.
  struct Held {
    Clock::time_point due;
    Pool::Finished finished;
  };

  void startWhatFits();
  bool isDone(const Flight& flight);
  void startNext();
  bool hasTime() const;
  void take(Pool::Finished finished);
  void keepExports(Json& row, const Json& exports);
  void tell(const Json& row) const;
  std::string folderOf(std::size_t id) const;

  const FleetOptions& options;
  const FleetPlan& plan;
  RowFile& rows;
  const std::vector<Flight>& flights;
  const std::string folder;
  const unsigned jobs;
  double processorSeconds = 0.1;  ///< that a flight takes: a guess, then the mean of the last ones
  Clock::time_point lastStart;
  std::size_t next = 0;
  std::map<std::string, int> kept;  // flights whose exports are kept, by what differs first
  std::set<std::string> variables;  // of exports of which nothing could be compared
  std::deque<Held> held;            // in the order in which they are due
  Progress progress;
  Pool pool;
};

}  // namespace logtool
