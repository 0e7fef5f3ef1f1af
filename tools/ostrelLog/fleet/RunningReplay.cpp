#include "ostrelLog/fleet/RunningReplay.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <utility>

#include "ostrelLog/WaitForEnd.hpp"
#include "ostrelLog/fleet/Isolation.hpp"
#include "ostrelLog/fleet/SystemError.hpp"

namespace logtool {

namespace {

/// The variables of this process with those of a replay in their place.
std::vector<std::string> environmentOf(const ReplaySettings& settings, const ReplayRequest& request) {
  std::vector<std::pair<std::string, std::string>> own = {
      {"OSTREL_REPLAY_PACE", settings.pace},
      {"LOG_LEVEL", "4"},
      {"TMPDIR", request.folder},
      {"KVS_FILE", ""}};  // the settings are kept in the replay's memory
  if (!request.searchPath.empty()) own.emplace_back("LD_LIBRARY_PATH", request.searchPath);
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (std::none_of(own.begin(), own.end(),
                     [&](const auto& variable) { return text.rfind(variable.first + "=", 0) == 0; })) {
      result.push_back(text);
    }
  }
  for (const auto& [name, value] : own) result.push_back(name + "=" + value);
  return result;
}

/// The path from the root without links; as far as that, where it does not exist.
std::string realPath(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path real = std::filesystem::canonical(path, failure);
  return failure ? std::filesystem::absolute(path).string() : real.string();
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// Limits what the process may leave behind.
void limitFiles(const std::string& folder) {
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  // One endless export then fills no large disk, on which the others write as well. A disk that is nearly
  // full is not to look like a fault of the flight.
  struct statvfs disk {};
  if (statvfs(folder.c_str(), &disk) != 0) return;
  const rlim_t largest = std::max<rlim_t>(disk.f_bavail * disk.f_frsize / 4, rlim_t{1} << 30U);
  const rlimit files = {largest, largest};
  setrlimit(RLIMIT_FSIZE, &files);
}

}  // namespace

void RunningReplay::start() {
  std::filesystem::create_directories(request.folder);
  // A replay has another working folder than this process.
  const std::string continuous = realPath(request.continuous);
  const std::string events = realPath(request.events);
  std::vector<std::string> arguments = {settings.program, "-i", continuous,        "-e",
                                        events,           "-g", outcome.exportFile};
  std::vector<std::string> environment = environmentOf(settings, request);
  std::array<int, 2> errors{};
  std::array<int, 2> report{};
  if (pipe2(errors.data(), O_CLOEXEC) != 0) fail(errno, "pipe");
  lines.reset(errors[0]);
  const Descriptor errorsEnd(errors[1]);
  if (pipe2(report.data(), O_CLOEXEC) != 0) fail(errno, "pipe");
  const Descriptor reportStart(report[0]);
  Descriptor reportEnd(report[1]);
  fcntl(lines.get(), F_SETFL, O_NONBLOCK);
  begin = Clock::now();
  const pid_t parent = getpid();
  child = fork();
  if (child < 0) fail(errno, "fork");
  if (child == 0) {
    reachable.insert(reachable.end(), {settings.program, continuous, events, request.folder});
    become(parent, arguments, environment, errors[1], report[1]);
  }
  process.reset(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
  if (process.get() < 0) fail(errno, "pidfd_open");
  reportEnd.reset();
  awaitStart(reportStart.get());
}

/// The child's part: turns it into the replay, or reports the step that failed, with its error.
void RunningReplay::become(pid_t parent, std::vector<std::string>& arguments,
                           std::vector<std::string>& environment, int errors, int report) {
  const char* failed = nullptr;
  // A group of its own, which can be killed as a whole. A session also keeps the pace "yield" cheap where
  // the kernel schedules sessions (sched_autogroup_enabled): the replay offers the processor with each
  // step, and without a session any other replay would take it, at several times the cost of the step.
  setsid();
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  dup2(null, STDIN_FILENO);
  dup2(null, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  limitFiles(request.folder);
  if (settings.isolation == Isolation::PRIVATE) {
    failed = isolateSharedMemory(reachable);
  }
  if (failed == nullptr) {
    // After the namespaces, since a change of credentials takes the signal back.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    if (chdir(request.folder.c_str()) == 0) {
      execve(settings.program.c_str(), pointersTo(arguments).data(), pointersTo(environment).data());
    }
    failed = settings.program.c_str();
  }
  const std::string text = std::to_string(errno) + " " + failed;
  static_cast<void>(!write(report, text.data(), text.size()));
  _exit(127);
}

/// Waits until the program has been started. A failure to do so is the machine's.
void RunningReplay::awaitStart(int report) const {
  std::array<char, 4096> block{};
  const ssize_t count = read(report, block.data(), block.size());
  if (count <= 0) return;
  std::istringstream text(std::string(block.data(), static_cast<std::size_t>(count)));
  int error = 0;
  std::string what;
  text >> error;
  std::getline(text >> std::ws, what);
  fail(error, what);
}

int RunningReplay::millisecondsLeft() const {
  const std::chrono::duration<double> past = Clock::now() - begin;
  return static_cast<int>(std::clamp((settings.timeoutSeconds - past.count()) * 1000 + 1, 0.0, 1e9));
}

bool RunningReplay::proceed() {
  readLines();
  if (millisecondsLeft() == 0 && !outcome.timedOut) {
    outcome.timedOut = true;
    kill(-child, SIGKILL);
  }
  siginfo_t info{};
  if (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
      info.si_pid == 0) {
    return false;
  }
  outcome.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  readLines();
  if (watch.machineError() != 0) fail(watch.machineError(), "replay of " + request.continuous);
  outcome.line = watch.lastLine();
  if (!outcome.timedOut)
    (info.si_code == CLD_EXITED ? outcome.exitStatus : outcome.signal) = info.si_status;
  outcome.silent = outcome.ran() && watch.sawLines() && outcome.line.empty();
  end();
  return true;
}

void RunningReplay::readLines() {
  std::array<char, 16384> block{};
  ssize_t count = 0;
  while ((count = read(lines.get(), block.data(), block.size())) > 0) {
    watch.add({block.data(), static_cast<std::size_t>(count)});
  }
  if (count == 0) lines.reset();  // closed by the replay; otherwise poll() would return at once for ever
}

void RunningReplay::end() {
  if (child < 0) return;
  kill(-child, SIGKILL);  // also what the replay may have left running
  waitForEnd(child);
  child = -1;
}

}  // namespace logtool
