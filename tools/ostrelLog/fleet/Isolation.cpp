#include "ostrelLog/fleet/Isolation.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

namespace logtool {

namespace {

const std::string SHARED_MEMORY = "/dev/shm/";

/// The entries of the shared memory that lead to these paths.
std::set<std::string> entriesFor(const std::vector<std::string>& paths) {
  std::set<std::string> entries;
  for (const std::string& path : paths) {
    if (path.rfind(SHARED_MEMORY, 0) != 0 || path.size() == SHARED_MEMORY.size()) continue;
    entries.insert(path.substr(0, path.find('/', SHARED_MEMORY.size())));
  }
  return entries;
}

bool writeText(const char* path, const std::string& text) {
  const int file = open(path, O_WRONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(file);
  return written;
}

/// Enters a mount namespace. A privileged process needs no user namespace, in which it would lose its
/// access to the files of other users.
const char* enterNamespace() {
  if (unshare(CLONE_NEWNS) == 0) return nullptr;
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return "namespaces";
  if (!writeText("/proc/self/setgroups", "deny")) return "/proc/self/setgroups";
  if (!writeText("/proc/self/uid_map", user + " " + user + " 1")) return "/proc/self/uid_map";
  if (!writeText("/proc/self/gid_map", group + " " + group + " 1")) return "/proc/self/gid_map";
  return nullptr;
}

/// Binds the file or folder behind a descriptor to its old path in the new, empty /dev/shm.
bool bindBack(int descriptor, const std::string& path) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return false;
  if (S_ISDIR(status.st_mode)) {
    if (mkdir(path.c_str(), 0700) != 0) return false;
  } else {
    const int file = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    if (file < 0) return false;
    close(file);
  }
  const std::string source = "/proc/self/fd/" + std::to_string(descriptor);
  return mount(source.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

}  // namespace

const char* isolateSharedMemory(const std::vector<std::string>& paths) {
  if (const char* const failed = enterNamespace()) return failed;
  // Without this, the mounts below would reach the namespace that this one was copied from.
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return "private mounts";
  std::vector<std::pair<int, std::string>> kept;
  for (const std::string& entry : entriesFor(paths)) {
    const int descriptor = open(entry.c_str(), O_PATH | O_CLOEXEC);
    if (descriptor >= 0) kept.emplace_back(descriptor, entry);
  }
  if (mount("tmpfs", SHARED_MEMORY.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
    return "a new /dev/shm";
  }
  for (const auto& [descriptor, entry] : kept) {
    if (!bindBack(descriptor, entry)) return "what /dev/shm holds";
  }
  return nullptr;
}

}  // namespace logtool
