#include "replay/ReplayLoop.hpp"

#include <sched.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <limits>
#include <vector>

#include "logfile/ErrorText.hpp"
#include "logservice/log.h"
#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"
#include "registry/LogTag.hpp"
#include "replay/Interruption.hpp"

ReplayLoop::ReplayLoop(OstrelEnv& environment, LogFile::IExport* exporter, Pace pace)
    : env(environment), newLog(exporter), betweenSteps(pace) {}

int ReplayLoop::run() {
  int result = 0;
  while ((result = readSample()) >= 0) {
    // Checked only after a sample was read, because a signal after the last step cuts nothing short.
    if (const int signal = Interruption::signal(); signal != 0) {
      log_print(LOG_TAG, LOG_WARNING, "Replay interrupted by signal %i after step %i", signal, last);
      return signal;
    }
    warnOfJump();
    replayEvents();
    runStep();
    last = env.data->index;
    hasRun = true;
    pause();
  }
  // Only the data's end is normal. A negative index ends the loop too and is reported like an error.
  if (result == -ENODATA) {
    log_print(LOG_TAG, LOG_INFO, "Reached end of replay");
  } else {
    log_print(LOG_TAG, LOG_WARNING, "Error on replay data read : %s", errorText(result));
  }
  // When no step has run, every call in the event log counts as missed.
  constexpr std::int64_t noStep = std::numeric_limits<std::int64_t>::min();
  env.events->reader->warnOfMissedCalls(hasRun ? std::int64_t{last} + 1 : noStep,
                                        [] { return Interruption::signal() != 0; });
  return 0;
}

/// Reads the next sample: its step index, or why the replay ends. A negative index ends it as well.
int ReplayLoop::readSample() {
  const int result = env.data->reader->popSample();
  return result < 0 ? result : env.data->index;
}

/// Says when samples are missing in front of the one just read.
void ReplayLoop::warnOfJump() {
  ReplayData& data = *env.data;
  const std::int64_t steps = ReplayData::jump(data.previousIndex, data.index);
  if (steps > 0) {
    log_print(LOG_TAG, LOG_WARNING, "Jumped %i steps after iteration %i", static_cast<int>(steps),
              data.previousIndex);
  }
  data.previousIndex = data.index;
}

/// Makes the API calls recorded for the step.
void ReplayLoop::replayEvents() {
  ReplayEvents& events = *env.events;
  const int stepIndex = env.data->index;
  std::vector<int> stepInputs;
  const int result = events.reader->popSample(stepIndex, stepInputs);
  if (result <= 0) {
    // No call is lost when nothing was due or the log had ended before. Calls that were read together with
    // the end of the log are lost.
    const bool lost = result == -ENODATA ? !stepInputs.empty() : result < 0 && result != -EAGAIN;
    if (lost) {
      log_print(LOG_TAG, LOG_WARNING, "Error on replay event read during step %i : %s", stepIndex,
                errorText(result));
    }
    return;
  }
  for (const int input : stepInputs) {
    // A reader is only an interface here, so its numbers are checked before they are used.
    if (input < 0 || static_cast<std::size_t>(input) >= events.inputs.size()) {
      log_print(LOG_TAG, LOG_WARNING, "No API input number %i, call skipped during step %i", input,
                stepIndex);
      continue;
    }
    events.inputs[static_cast<std::size_t>(input)]->apply();
  }
}

/// Runs the library on the sample, and records the step in the new log.
void ReplayLoop::runStep() {
  // After the events, so the library sees this step's calls; before the step, so it sees its sensors.
  std::memcpy(Dravon3::data_manager(), &env.sensors, sizeof(env.sensors));
  OSTREL_process();
  if (newLog == nullptr) return;
  const int result = newLog->step();
  // -ENOENT means that recording is off, which the export has reported once.
  if (result < 0 && result != -ENOENT) {
    log_print(LOG_TAG, LOG_ERR, "Error exporting replay at index %i : %s", env.data->index,
              errorText(result));
  }
}

/// Gives other processes a chance to run between two steps; the replay keeps to no rate.
void ReplayLoop::pause() const {
  if (betweenSteps == Pace::YIELD) {
    sched_yield();
  } else {
    usleep(1);
  }
}
