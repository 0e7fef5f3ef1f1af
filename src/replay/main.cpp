#include <sys/prctl.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>

#include "env/OstrelEnv.hpp"
#include "logfile/ReplayExport.hpp"
#include "logfile/TlmbExport.hpp"
#include "logservice/log.h"
#include "registry/LogTag.hpp"
#include "replay/CommandLineArgs.hpp"
#include "replay/Interruption.hpp"
#include "replay/Pace.hpp"
#include "replay/ReplayLoop.hpp"

namespace {

/// Prepares the process for a replay of any length.
void settleProcess() {
  // A reader of our lines that has gone, or a limit on file sizes, is an error of the write concerned. It
  // must not end the replay in the middle of a new log.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  // The sleep between steps is meant to last 1 microsecond; by default the kernel stretches it by 50.
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
}

/// The export that the command line asks for; null when there is none to be made.
std::unique_ptr<LogFile::IExport> openExport(const CommandLineArgs& args) {
  if (args.newBboxPath.empty()) {
    if (args.newBboxGiven) log_print(LOG_TAG, LOG_ERR, "No new log : its name is empty");
    return nullptr;
  }
  if (args.overwritesInput()) {
    log_print(LOG_TAG, LOG_ERR, "Output %s is an input of this replay, nothing is exported",
              args.newBboxPath.c_str());
    return nullptr;
  }
  auto exporter = std::make_unique<TlmbExport>(LogFile::CONTENTS_CONTINUOUS);
  exporter->open(args.newBboxPath.c_str());  // an export that failed to open reports each step
  return exporter;
}

/// Runs the tool. `interruption` becomes the signal that cut the replay short, if one did.
int run(int argc, char** argv, int& interruption) {
  settleProcess();
  const CommandLineArgs args(argc, argv);
  // Left by an earlier run; a missing file is normal.
  unlink("/dev/shm/shd_navdata-replay");
  unlink("/dev/shm/shd_ostrellite");
  sleep(1);
  if (args.check() < 0) return EXIT_FAILURE;

  OstrelEnv env(args.droneName, args.droneMode, args.contBboxPath, args.eventBboxPath);
  Interruption::watch();  // before any setting is borrowed
  ReplayExport holder;    // destroyed before the environment, whose library it reads
  holder.exporter = openExport(args);
  ReplayLoop loop(env, holder.exporter.get(), paceFromEnvironment().value_or(Pace::SLEEP));
  interruption = loop.run();

  Interruption::watchEnd();  // before the sleep, which a further signal ends
  sleep(1);
  log_print(LOG_TAG, LOG_INFO, "Ran %i steps of ostrel", loop.lastStep());
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int interruption = 0;
    const int status = run(argc, argv, interruption);
    if (interruption != 0) Interruption::raise(interruption);
    return status;
  } catch (...) {
    // Without a handler the standard lets an exception end the process at once. With this one the export,
    // the environment and the command line are destroyed first, in this order.
    throw;
  }
}
