#include "ostrelLog/fleet/Pool.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>

#include "ostrelLog/WaitForEnd.hpp"
#include "ostrelLog/fleet/Signals.hpp"
#include "ostrelLog/fleet/SystemError.hpp"

namespace logtool {

namespace {

/// The child's part: does the work, and never returns.
[[noreturn]] void doWork(pid_t parent, int answers, const std::function<void(const Pool::Send&)>& work) {
  // A signal from the terminal is for the parent, which ends everything in order.
  setsid();
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  obeySignals();
  int status = 1;
  try {
    work([answers](const std::string& text) {
      for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(answers, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) _exit(1);
        if (count > 0) done += static_cast<std::size_t>(count);
      }
    });
    status = 0;
  } catch (const std::exception& error) {
    std::cerr << "ostrelLog: " << error.what() << std::endl;
  }
  _exit(status);  // without the end of the parent's objects, of which this process has copies
}

std::string failureOf(int status) {
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
  if (WIFSIGNALED(status))
    return "signal " + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) + ")";
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

double secondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

Pool::~Pool() {
  for (const Worker& worker : workers) kill(worker.process, SIGKILL);
  for (const Worker& worker : workers) {
    waitForEnd(worker.process);
    close(worker.answers);
  }
}

void Pool::start(std::size_t id, const std::function<void(const Send& send)>& work) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) fail(errno, "pipe");
  std::cout.flush();  // or the child would have a copy of what waits to be written
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) doWork(parent, ends[1], work);
  const int error = errno;
  close(ends[1]);
  if (child < 0) {
    close(ends[0]);
    fail(error, "fork");
  }
  fcntl(ends[0], F_SETFL, O_NONBLOCK);
  workers.push_back({id, child, ends[0], {}});
}

/// Takes what the worker has sent. False when it has sent all.
bool Pool::readFrom(Worker& worker) {
  std::array<char, 16384> block{};
  ssize_t count = 0;
  while ((count = read(worker.answers, block.data(), block.size())) > 0) {
    worker.text.append(block.data(), static_cast<std::size_t>(count));
  }
  return count < 0 && (errno == EAGAIN || errno == EINTR);
}

std::vector<Pool::Finished> Pool::wait(std::chrono::milliseconds longest) {
  std::vector<pollfd> waited;
  for (const Worker& worker : workers) waited.push_back({worker.answers, POLLIN, 0});
  std::vector<Finished> finished;
  if (poll(waited.data(), waited.size(), static_cast<int>(longest.count())) <= 0) return finished;
  std::vector<Worker> stillRunning;
  for (std::size_t i = 0; i < waited.size(); ++i) {
    Worker& worker = workers[i];
    if (waited[i].revents == 0 || readFrom(worker)) {
      stillRunning.push_back(std::move(worker));
      continue;
    }
    rusage used{};
    const int status = waitForEnd(worker.process, &used);
    close(worker.answers);
    finished.push_back({worker.id, std::move(worker.text), failureOf(status), WIFSIGNALED(status),
                        secondsOf(used.ru_utime) + secondsOf(used.ru_stime)});
  }
  workers = std::move(stillRunning);
  return finished;
}

}  // namespace logtool
