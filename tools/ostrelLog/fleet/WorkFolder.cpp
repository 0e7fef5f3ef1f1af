#include "ostrelLog/fleet/WorkFolder.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "ostrelLog/fleet/SystemError.hpp"

namespace logtool {

namespace {

namespace fs = std::filesystem;

const std::string PREFIX = "ostrelLog-regress-";

/// Locks a folder without waiting. Its descriptor, or -1.
int lockFolder(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return -1;
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
  close(descriptor);
  return -1;
}

/// Removes the folders of runs that no longer live.
void removeLeftOvers(const fs::path& parent) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(parent, ignored)) {
    if (entry.path().filename().string().rfind(PREFIX, 0) != 0) continue;
    const int lock = lockFolder(entry.path().string());
    if (lock < 0) continue;
    fs::remove_all(entry.path(), ignored);
    close(lock);
  }
}

}  // namespace

WorkFolder::WorkFolder() {
  const fs::path parent = fs::canonical(fs::temp_directory_path());
  removeLeftOvers(parent);
  // Again when another run takes the new folder for a left-over in the moment before it is locked.
  while (lock < 0) {
    path = (parent / (PREFIX + "XXXXXX")).string();
    if (mkdtemp(path.data()) == nullptr) fail(errno, path);
    lock = lockFolder(path);
  }
}

WorkFolder::~WorkFolder() {
  std::error_code ignored;
  fs::remove_all(path, ignored);
  close(lock);
}

}  // namespace logtool
