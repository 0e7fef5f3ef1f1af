#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace logtool {

/// Processes that each do one piece of work and send a text. Single-threaded: everything happens inside the
/// calls.
class Pool {
 public:
  struct Finished {
    std::size_t id;
    std::string text;         ///< all that it has sent
    std::string failure;      ///< how the process ended; empty when it has done its work
    bool byASignal;           ///< whether a signal ended the process
    double processorSeconds;  ///< that the process and those it has started took
  };

  /// Sends a text; done from inside the work.
  using Send = std::function<void(const std::string& text)>;

  Pool() = default;
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;
  /// Kills what still runs; replays die with the process that has started them.
  ~Pool();

  /// Starts the work in a process of its own, which is killed when this process ends. Throws
  /// std::system_error when there is no process to be had.
  void start(std::size_t id, const std::function<void(const Send& send)>& work);

  std::size_t running() const { return workers.size(); }

  /// Waits for as long, or until a piece of work is done or a signal comes; returns all that are done.
  std::vector<Finished> wait(std::chrono::milliseconds longest);

 private:
  struct Worker {
    std::size_t id;
    pid_t process;
    int answers;
    std::string text;
  };

  bool readFrom(Worker& worker);

  std::vector<Worker> workers;
};

}  // namespace logtool
