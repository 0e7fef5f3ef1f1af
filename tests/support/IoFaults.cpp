// Stands before the system's calls on files, preloaded into a program or linked into a test. When the
// environment has IO_FAULT_AT=N, the Nth call since it was set fails with EIO, which is shown on standard
// error as "@fault CALL FILE".

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int calls = 0;  // since IO_FAULT_AT was set

bool isToFail(const char* name, const std::string& what) {
  const char* at = std::getenv("IO_FAULT_AT");
  calls = at != nullptr ? calls + 1 : 0;
  if (at == nullptr || calls != std::strtol(at, nullptr, 10)) return false;
  std::fprintf(stderr, "@fault %s %s\n", name, what.c_str());
  errno = EIO;
  return true;
}

template <class Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return isToFail("open", path) ? -1 : next(open, "open")(path, flags, mode);
}

FILE* fopen64(const char* path, const char* mode) {
  return isToFail("fopen", path) ? nullptr : next(fopen64, "fopen64")(path, mode);
}

ssize_t read(int file, void* bytes, size_t count) {
  return isToFail("read", std::to_string(file)) ? -1 : next(read, "read")(file, bytes, count);
}

ssize_t write(int file, const void* bytes, size_t count) {
  return isToFail("write", std::to_string(file)) ? -1 : next(write, "write")(file, bytes, count);
}

int rename(const char* from, const char* to) noexcept {
  return isToFail("rename", from) ? -1 : next(rename, "rename")(from, to);
}

int fsync(int file) {
  return isToFail("fsync", std::to_string(file)) ? -1 : next(fsync, "fsync")(file);
}
}
