#pragma once

#include <poll.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "ostrelLog/fleet/Descriptor.hpp"
#include "ostrelLog/fleet/LineWatch.hpp"
#include "ostrelLog/fleet/Replay.hpp"

namespace logtool {

/// A replay under way. It is killed with its whole group when the object goes.
class RunningReplay {
 public:
  /// Both are borrowed.
  RunningReplay(const ReplaySettings& replaySettings, const ReplayRequest& replayRequest)
      : settings(replaySettings), request(replayRequest) {
    outcome.exportFile = request.folder + "/export.tlmb";
  }
  RunningReplay(const RunningReplay&) = delete;
  RunningReplay& operator=(const RunningReplay&) = delete;
  ~RunningReplay() { end(); }

  /// Throws std::system_error when the program can't be started.
  void start();
  /// Whether it has ended. Takes what it has written, and kills it when its time is up.
  bool proceed();
  int millisecondsLeft() const;  ///< until its time is up
  /// What tells that proceed() has something to do.
  std::array<pollfd, 2> waitedFor() const {
    return {pollfd{process.get(), POLLIN, 0}, pollfd{lines.get(), POLLIN, 0}};
  }

  ReplayOutcome outcome;

 private:
  using Clock = std::chrono::steady_clock;

  [[noreturn]] void become(pid_t parent, std::vector<std::string>& arguments,
                           std::vector<std::string>& environment, int errors, int report);
  void awaitStart(int report) const;
  void readLines();
  void end();

  const ReplaySettings& settings;
  const ReplayRequest& request;
  pid_t child = -1;
  Descriptor process;
  Descriptor lines;
  LineWatch watch;
  Clock::time_point begin;
  std::vector<std::string> reachable = settings.reachable;
};

}  // namespace logtool
