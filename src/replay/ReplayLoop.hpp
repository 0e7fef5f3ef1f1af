#pragma once

#include <cstdint>

#include "env/OstrelEnv.hpp"
#include "logfile/LogFile.hpp"
#include "replay/Pace.hpp"

/// Replays a flight: one step of the flight-control library for each sample of the continuous log, with the
/// calls that the event log has for it.
///
/// Nothing ends the process once the loop runs. What goes wrong is logged, and the continuous log alone, or
/// an interruption, ends the loop. Single-threaded.
class ReplayLoop {
 public:
  /// The environment is borrowed and outlives the loop, and so does the export, which may be null.
  ReplayLoop(OstrelEnv& environment, LogFile::IExport* exporter, Pace pace);

  /// Runs every step up to the end of the continuous log, or until a signal is noted (Interruption.hpp).
  /// Logs one line that says what ended it, and, unless that was a signal, warns of calls that no step has
  /// reached.
  ///
  /// Returns the signal that cut the replay short; 0 when the log ended it, also when a signal came after
  /// the last step had run.
  int run();

  /// Index of the last step that ran; 0 when none has.
  std::int32_t lastStep() const { return last; }

 private:
  int readSample();
  void warnOfJump();
  void replayEvents();
  void runStep();
  void pause() const;

  OstrelEnv& env;
  LogFile::IExport* newLog;
  const Pace betweenSteps;
  std::int32_t last = 0;
  bool hasRun = false;  ///< a step has; `last` is its index
};
