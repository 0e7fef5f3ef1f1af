#include "ostrelLog/fleet/Replay.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <sstream>

#include "ostrelLog/fleet/Descriptor.hpp"
#include "ostrelLog/fleet/RunningReplay.hpp"
#include "ostrelLog/fleet/Signals.hpp"
#include "ostrelLog/fleet/SystemError.hpp"

namespace logtool {

namespace {

/// Waits for all of them, which have been started.
void await(const std::vector<std::unique_ptr<RunningReplay>>& replays) {
  std::vector<RunningReplay*> running;
  for (const auto& replay : replays) running.push_back(replay.get());
  while (!running.empty() && notedSignal() == 0) {
    std::vector<pollfd> waited;
    int milliseconds = -1;
    for (const RunningReplay* replay : running) {
      const auto both = replay->waitedFor();
      waited.insert(waited.end(), both.begin(), both.end());
      const int left = replay->millisecondsLeft();
      milliseconds = milliseconds < 0 ? left : std::min(milliseconds, left);
    }
    if (poll(waited.data(), waited.size(), milliseconds) < 0 && errno != EINTR) fail(errno, "poll");
    running.erase(
        std::remove_if(running.begin(), running.end(), [](RunningReplay* r) { return r->proceed(); }),
        running.end());
  }
}

/// Holds the lock that all runs on this machine share.
Descriptor lockMachine() {
  const std::string path = "/tmp/ostrelLog-regress.lock";
  const mode_t mask = umask(0);  // for the runs of all users
  // Another user's file is not opened with O_CREAT in a folder for all (fs.protected_regular).
  int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (file < 0) file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  Descriptor lock(file);
  umask(mask);
  if (lock.get() < 0) fail(errno, path);
  while (flock(lock.get(), LOCK_EX) != 0 && notedSignal() == 0) {
    if (errno != EINTR) fail(errno, path);
  }
  return lock;
}

}  // namespace

std::string ReplayOutcome::failure(double timeoutSeconds) const {
  if (timedOut) {
    std::ostringstream text;
    text << "no answer within " << timeoutSeconds << " s";
    return text.str();
  }
  if (signal) return "signal " + std::to_string(*signal) + " (" + strsignal(*signal) + ")";
  return "exit status " + std::to_string(exitStatus.value_or(-1));
}

std::vector<ReplayOutcome> runReplays(const ReplaySettings& settings,
                                      const std::vector<ReplayRequest>& requests) {
  std::vector<std::unique_ptr<RunningReplay>> replays;
  for (const ReplayRequest& request : requests) {
    replays.push_back(std::make_unique<RunningReplay>(settings, request));
  }
  if (settings.isolation == Isolation::ONE_BY_ONE) {
    for (auto& replay : replays) {
      const Descriptor lock(lockMachine());
      if (notedSignal() != 0) break;
      replay->start();
      while (!replay->proceed() && notedSignal() == 0) {
        auto waited = replay->waitedFor();
        poll(waited.data(), waited.size(), replay->millisecondsLeft());
      }
    }
  } else {
    for (auto& replay : replays) replay->start();
    await(replays);
  }
  std::vector<ReplayOutcome> outcomes;
  for (auto& replay : replays) outcomes.push_back(std::move(replay->outcome));
  return outcomes;
}

}  // namespace logtool
