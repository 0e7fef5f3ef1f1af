#pragma once

#include <string>
#include <vector>

namespace logtool {

/// Whether replays share the folder of the shared memory, from which each removes two files of fixed names.
enum class Isolation {
  PRIVATE,     ///< each replay has its own
  ONE_BY_ONE,  ///< all share it, and a lock lets one replay run at a time on this machine
  OFF,         ///< all share it, and run at the same time
};

/// Gives this process, and what it executes, an empty /dev/shm of its own, by a mount namespace; without
/// privileges also by a user namespace. Of what lies in /dev/shm now, the entries that hold the `paths` are
/// still there. Null, or the name of the step that failed, with errno; the process must then be ended.
const char* isolateSharedMemory(const std::vector<std::string>& paths);

}  // namespace logtool
