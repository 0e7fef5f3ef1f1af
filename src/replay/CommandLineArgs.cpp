#include "replay/CommandLineArgs.hpp"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "logservice/log.h"
#include "registry/LogTag.hpp"
#include "replay/Pace.hpp"
#include "sysprop/sys_prop.h"

namespace {

constexpr const char* USAGE =
    "Replays a Ostrel execution with input from a continuous bbox file and an event bbox file and "
    "potentially "
    "generate a new bbox file \n"
    "* Usage: %s -i <CONT_BBOX_PATH> -e <EVENT_BBOX_PATH> [-g <NEW_BBOX> -d <DRONE_NAME> -m <DRONE_MODE>]\n"
    "* Options:\n"
    "    -h | --help                Print this message\n"
    "    -i <string>                Path to continuous bbox file\n"
    "    -e <string>                Path to the event bbox file\n"
    "    -g <string>                Path to bbox file to generate\n"
    "    -d <string>                Drone hardware name\n"
    "    -m <string>                Drone mode\n"
    "\n"
    "Environment variable OSTREL_ROOT_DIR can be set to change\n"
    "the base directory used to open configuration files.\n"
    "Environment variable OSTREL_CALIBRATION_DIR can be set to \n"
    "change path to calibration files.\n"
    "\n";

/// Prints the usage to standard output and ends the process.
[[noreturn]] void exitWithUsage(const char* program, int status) {
  std::printf(USAGE, program);
  std::exit(status);
}

/// What the system knows of the file at `path`, links followed; nothing when there is no such file.
std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

/// Whether two paths lead to one existing file, by links or under several names.
bool isSameFile(const std::string& one, const std::string& other) {
  const auto a = statusOf(one);
  const auto b = statusOf(other);
  return a && b && a->st_dev == b->st_dev && a->st_ino == b->st_ino;
}

bool isDirectory(const std::string& path) {
  const auto status = statusOf(path);
  return status && S_ISDIR(status->st_mode);
}

}  // namespace

std::string configurationDirectory(const std::string& droneName) {
  const char* prefix = std::getenv("OSTREL_ROOT_DIR");
  return std::string(prefix == nullptr ? "" : prefix) + "/etc/ostrel/" + droneName;
}

CommandLineArgs::CommandLineArgs(int argc, char** argv) {
  for (int option = 0; (option = getopt(argc, argv, "hg:e:i:d:m:")) != -1;) {
    switch (option) {
      case 0: break;
      case 'i': contBboxPath = optarg; break;
      case 'e': eventBboxPath = optarg; break;
      case 'g':
        newBboxPath = optarg;
        newBboxGiven = true;
        break;
      case 'd': droneName = optarg; break;
      case 'm': droneMode = optarg; break;
      case 'h': exitWithUsage(argv[0], EXIT_SUCCESS);
      default: exitWithUsage(argv[0], EXIT_FAILURE);
    }
  }
  ignored.assign(argv + optind, argv + argc);  // getopt has moved them behind the options
  if (!droneMode.empty()) return;

  char property[SYS_PROP_VALUE_MAX] = {};
  // A property that is not set gives "default"; only a store that can't be read is a failure.
  if (sys_prop_get("persist.running-mode", property, "default") < 0) {
    log_print(LOG_TAG, LOG_ERR, "Could not get running mode from properties");
    std::exit(EXIT_FAILURE);
  }
  droneMode = property;
}

int CommandLineArgs::check() const {
  // First, because a forgotten option letter may be why a check fails.
  for (const std::string& argument : ignored) {
    log_print(LOG_TAG, LOG_WARNING, "Argument %s is ignored", argument.c_str());
  }
  // Only existence is checked: a log that can't be read is its reader's to report.
  if (!statusOf(contBboxPath)) {
    log_print(LOG_TAG, LOG_ERR, "Continuous bbox file %s does not exist", contBboxPath.c_str());
    return -1;
  }
  if (!statusOf(eventBboxPath)) {
    log_print(LOG_TAG, LOG_ERR, "Event bbox file %s does not exist", eventBboxPath.c_str());
    return -1;
  }
  // Without a name on the command line this checks the root itself: the variant is settled only later.
  if (!isDirectory(configurationDirectory(droneName))) {
    log_print(LOG_TAG, LOG_ERR, "No Ostrel configuration for %s", droneName.c_str());
    return -1;
  }
  if (!paceFromEnvironment()) {
    log_print(LOG_TAG, LOG_ERR, "OSTREL_REPLAY_PACE is neither sleep nor yield : %s",
              std::getenv(PACE_VARIABLE));
    return -1;
  }
  log_print(LOG_TAG, LOG_INFO, "Starting execution ...");
  log_print(LOG_TAG, LOG_INFO, "Input continuous bbox-file : %s", contBboxPath.c_str());
  log_print(LOG_TAG, LOG_INFO, "Input event-bbox file      : %s", eventBboxPath.c_str());
  log_print(LOG_TAG, LOG_INFO, "Drone hardware             : %s", droneName.c_str());
  log_print(LOG_TAG, LOG_INFO, "Drone mode                 : %s", droneMode.c_str());
  if (!newBboxPath.empty()) {
    log_print(LOG_TAG, LOG_INFO, "Generating new bbox to     : %s", newBboxPath.c_str());
  }
  return 1;
}

bool CommandLineArgs::overwritesInput() const {
  return isSameFile(newBboxPath, contBboxPath) || isSameFile(newBboxPath, eventBboxPath);
}
