#include <sys/prctl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "env/OstrelEnv.hpp"
#include "logfile/ReplayExport.hpp"
#include "logfile/TlmbExport.hpp"
#include "logservice/log.h"
#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"
#include "registry/LogTag.hpp"
#include "replay/CommandLineArgs.hpp"

namespace {

volatile std::sig_atomic_t interruption = 0;  ///< the signal that asks the replay to end

/// Asks the replay to end after the step under way; another signal then ends the process at once.
void interrupt(int signalNumber) {
  interruption = signalNumber;
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}

/// From now on an interruption must not skip the tear-down. A signal that the tool was started to ignore
/// stays ignored.
void catchInterruptions() {
  for (const int signalNumber : {SIGINT, SIGTERM}) {
    if (std::signal(signalNumber, interrupt) == SIG_IGN) std::signal(signalNumber, SIG_IGN);
  }
}

/// The text of a negated errno. The most negative integer, which a log may hold, has no negation of its own
/// width and stands for itself.
const char* errorText(int result) {
  return std::strerror(static_cast<int>(-static_cast<std::int64_t>(result)));
}

/// Reads the next sample and settles its step index: 0 or more, or why the replay ends.
int nextStep(ReplayData& data) {
  const int result = data.reader->popSample();
  if (result < 0) return result;
  const std::int64_t steps = std::int64_t{data.index} - data.previousIndex;
  if (steps >= 2 && data.previousIndex >= 1) {
    log_print(LOG_TAG, LOG_WARNING, "Jumped %i steps after iteration %i", static_cast<int>(steps),
              data.previousIndex);
  }
  data.previousIndex = data.index;
  return data.index;
}

/// Makes the API calls recorded for the step.
void replayEvents(ReplayEvents& events, int stepIndex) {
  std::vector<int> stepInputs;
  const int result = events.reader->popSample(stepIndex, stepInputs);
  if (result <= 0) {
    // Nothing due, or a log that is over, loses nothing; calls met together with the end of the log do.
    const bool lost = result == -ENODATA ? !stepInputs.empty() : result < 0 && result != -EAGAIN;
    if (lost) {
      log_print(LOG_TAG, LOG_WARNING, "Error on replay event read during step %i : %s", stepIndex,
                errorText(result));
    }
    return;
  }
  for (const int input : stepInputs) {
    if (input < 0 || static_cast<std::size_t>(input) >= events.inputs.size()) {
      log_print(LOG_TAG, LOG_WARNING, "No API input number %i, call skipped during step %i", input,
                stepIndex);
      continue;
    }
    events.inputs[static_cast<std::size_t>(input)]->apply();
  }
}

/// Replays until the continuous log ends, or an interruption; returns the index of the last step that ran.
int replay(OstrelEnv& env, LogFile::IExport* exporter) {
  int lastStep = 0;
  int stepIndex = 0;
  while (interruption == 0 && (stepIndex = nextStep(*env.data)) >= 0) {
    replayEvents(*env.events, stepIndex);
    // After the events, so the library sees this step's calls; before the step, so it sees its sensors.
    std::memcpy(Dravon3::data_manager(), &env.sensors, sizeof(env.sensors));
    OSTREL_process();
    if (exporter != nullptr) {
      const int result = exporter->step();
      if (result < 0 && result != -ENOENT) {
        log_print(LOG_TAG, LOG_ERR, "Error exporting replay at index %i : %s", stepIndex,
                  errorText(result));
      }
    }
    lastStep = stepIndex;
    usleep(1);
  }
  if (interruption != 0 && stepIndex >= 0) {
    log_print(LOG_TAG, LOG_WARNING, "Replay interrupted by signal %i after step %i", interruption,
              lastStep);
  } else if (stepIndex == -ENODATA) {
    log_print(LOG_TAG, LOG_INFO, "Reached end of replay");
  } else {
    log_print(LOG_TAG, LOG_WARNING, "Error on replay data read : %s", errorText(stepIndex));
  }
  return lastStep;
}

int run(int argc, char** argv) {
  // A reader of our lines that has gone, or a limit on file sizes, is an error of the write concerned. It
  // must not end the replay in the middle of a new log.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  // The sleep between steps is meant to last 1 microsecond; by default the kernel stretches it by 50.
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);

  const CommandLineArgs args(argc, argv);
  // Left by an earlier run; a missing file is normal.
  unlink("/dev/shm/shd_navdata-replay");
  unlink("/dev/shm/shd_ostrellite");
  sleep(1);
  if (args.check() < 0) return EXIT_FAILURE;

  OstrelEnv env(args.droneName, args.droneMode, args.contBboxPath, args.eventBboxPath);
  catchInterruptions();  // before any setting is borrowed
  ReplayExport holder;   // destroyed before the environment, whose library it reads
  if (args.overwritesInput()) {
    log_print(LOG_TAG, LOG_ERR, "Output %s is an input of this replay, nothing is exported",
              args.newBboxPath.c_str());
  } else if (!args.newBboxPath.empty()) {
    holder.exporter = std::make_unique<TlmbExport>(LogFile::CONTENTS_CONTINUOUS);
    holder.exporter->open(args.newBboxPath.c_str());  // an export that failed to open reports each step
  }
  const int lastStep = replay(env, holder.exporter.get());

  sleep(1);
  log_print(LOG_TAG, LOG_INFO, "Ran %i steps of ostrel", lastStep);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const int status = run(argc, argv);
    // Whoever sent the signal, a shell above all, is to see that it was what ended the process.
    if (interruption != 0) {
      std::signal(interruption, SIG_DFL);
      std::raise(interruption);
    }
    return status;
  } catch (...) {
    // An exception that nothing catches need not unwind; caught here, it has destroyed the export, the
    // environment and the command line, in this order, before it goes on.
    throw;
  }
}
