#pragma once

#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>

namespace logtool {

/// Waits for the end of a child process, also when signals come meanwhile; its status, as wait4() has it.
inline int waitForEnd(pid_t child, rusage* used = nullptr) {
  int status = 0;
  while (wait4(child, &status, 0, used) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace logtool
