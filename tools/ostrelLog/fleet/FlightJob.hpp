#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ostrelLog/compare/CompareOptions.hpp"
#include "ostrelLog/compare/LogPair.hpp"
#include "ostrelLog/fleet/Digest.hpp"
#include "ostrelLog/fleet/ExportReading.hpp"
#include "ostrelLog/fleet/Flights.hpp"
#include "ostrelLog/fleet/KnownRows.hpp"
#include "ostrelLog/fleet/Libraries.hpp"
#include "ostrelLog/fleet/Replay.hpp"
#include "ostrelLog/render/Json.hpp"

namespace logtool {

/// What every flight of a run is done by.
struct FleetPlan {
  ReplaySettings replays;
  CompareOptions comparison;
  LogPair<Libraries> libraries;
  bool sameLibraries = false;  ///< there is no B: A is replayed twice, and may not differ from itself
  std::string tool;            ///< version of this program
  Json options;                ///< those that change results, as they stand in a row
  KnownRows known;             ///< rows of this file that are there already
  Baseline baseline;           ///< sides of an earlier run
};

/// One flight: its replays, their comparison, and the row that tells of them. Runs in a process of its own.
class FlightJob {
 public:
  /// All are borrowed. The folder is the job's own and need not exist.
  FlightJob(const FleetPlan& fleetPlan, const Flight& theFlight, std::string jobFolder);

  /// Called before replays are started.
  std::function<void()> beforeReplays = [] {};

  /// Whether earlier rows describe both of its files.
  bool filesAreKnown() const;

  /// Finds out what the flight's files are: the beginning of the row, with its key. Everything else of the
  /// row is null until judge().
  void identify();

  /// Replays and compares. Throws std::system_error for trouble of the machine.
  void judge();

  Json row;
  /// Where the exports of a changed flight lie.
  LogPair<std::string> exports;
  /// Whether a signal has ended a replay. It may have been meant for all processes of the run.
  bool disturbed = false;
  /// Variables of the export, where nothing of it could be compared.
  std::set<std::string> names;

 private:
  /// A side's replay and what its export holds.
  struct Result {
    ReplayOutcome outcome;
    ExportReading reading;
  };

  /// A replay with the libraries of a side, in a folder of this name.
  struct Wanted {
    Side side;
    const char* name;
  };

  std::optional<std::string> describeFile(const std::string& path, const char* kind, Digest& key);
  std::vector<Result> replay(const std::vector<Wanted>& wanted);
  void judgeByBaseline(const Json& known, bool checked);
  void judgeByReplays();
  void judgeBoth(const Result& a, const Result& b);
  bool judgeFailures(const Result& a, const Result& b);
  void compareExports(const Result& a, const Result& b);
  std::string replayAgain(const Result& a, const Result& b);
  bool isItself(const Result& first, const Result& second) const;
  void setVerdict(const char* verdict, const std::string& reason);
  Json sideJson(const Result& result) const;
  bool isChecked() const;

  const FleetPlan& plan;
  const Flight& flight;
  const std::string folder;
};

}  // namespace logtool
