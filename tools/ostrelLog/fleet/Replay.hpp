#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ostrelLog/fleet/Isolation.hpp"

namespace logtool {

/// What all replays of a run have in common.
struct ReplaySettings {
  std::string program;    ///< absolute path of ostrelReplay
  std::string pace;       ///< value of OSTREL_REPLAY_PACE
  double timeoutSeconds;  ///< after which a replay is killed
  Isolation isolation = Isolation::PRIVATE;
  std::vector<std::string> reachable;  ///< absolute paths that replays need, should they lie in /dev/shm
};

/// One replay that is to be made.
struct ReplayRequest {
  std::string continuous;  ///< path of the flight's continuous log
  std::string events;      ///< and of its event log
  std::string searchPath;  ///< of the libraries; empty leaves the environment's
  std::string folder;      ///< private to the replay; made, and left behind with the export
};

/// How a replay ended.
struct ReplayOutcome {
  bool ran() const { return exitStatus == 0; }

  /// "exit status 1", "signal 11 (Segmentation fault)", "no answer within 600 s".
  std::string failure(double timeoutSeconds) const;

  std::optional<int> exitStatus;
  std::optional<int> signal;
  bool timedOut = false;
  double seconds = 0;
  std::string line;  ///< last one at priority 0 to 4 but for the variant's choice; empty without one
  /// The replay has run and told of nothing but its variant: so its logs are whole, or it would have told
  /// that.
  bool silent = false;
  std::string exportFile;
};

/// Makes the replays at the same time, or one after the other where the isolation says so, and waits for
/// them. Each is a process group of its own, dies with this process, leaves no core file, and has a working
/// folder, temporary folder and settings of its own. Throws std::system_error for trouble of the machine:
/// no process, no descriptor, no memory, a full disk. Ends early when a signal is noted.
std::vector<ReplayOutcome> runReplays(const ReplaySettings& settings,
                                      const std::vector<ReplayRequest>& requests);

}  // namespace logtool
