#include "logfile/OutputFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <utility>

namespace {

// In bytes; large, since a log is written in many small records.
constexpr std::size_t BUFFER_BYTES = 0x40000;
constexpr int MOST_LINKS = 40;  // the kernel's own limit on links in a row

// Of the type that a signal handler may write.
volatile std::sig_atomic_t interruptedBy = 0;

/// The signal handler. It only takes a note: write() acts on it, and the owner then cleans up.
void interrupt(int signalNumber) {
  interruptedBy = signalNumber;
}

void catchInterruptions() {
  // Without SA_RESTART, so that signals end a write to a pipe whose reader does not go on: the first one if
  // nothing of the block was written, otherwise the second one.
  struct sigaction caught = {};
  caught.sa_handler = interrupt;
  for (const int signalNumber : {SIGHUP, SIGINT, SIGTERM}) {
    struct sigaction before = {};
    static_cast<void>(sigaction(signalNumber, nullptr, &before));
    // A signal that the parent told us to ignore (nohup does) stays ignored.
    if (before.sa_handler != SIG_IGN) static_cast<void>(sigaction(signalNumber, &caught, nullptr));
  }
}

/// The file that a path leads to, which need not exist: a rename would replace a link, and not that file.
std::string behindLinks(std::filesystem::path path) {
  std::error_code failure;
  for (int links = 0; links < MOST_LINKS && std::filesystem::is_symlink(path, failure); ++links) {
    // A relative link counts from its own folder; an absolute one replaces the whole path.
    path = path.parent_path() / std::filesystem::read_symlink(path, failure);
  }
  return path.string();
}

/// The mode that the process's umask gives a new file.
mode_t newFileMode() {
  // The mask can only be read by setting it.
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(std::string filePath) : path(std::move(filePath)), buffer(BUFFER_BYTES) {}

OutputFile::~OutputFile() {
  if (!temporary.empty()) static_cast<void>(unlink(temporary.c_str()));
}

int OutputFile::open() {
  const int descriptor = openTarget();
  if (descriptor < 0) return descriptor;
  stream.reset(fdopen(descriptor, "wb"));
  if (!stream) {
    const int error = errno;
    static_cast<void>(::close(descriptor));
    return -error;
  }
  static_cast<void>(std::setvbuf(stream.get(), buffer.data(), _IOFBF, buffer.size()));
  return 0;
}

/// Opens what is to be written: a new file beside the target, or the target itself when it can't be
/// replaced. The descriptor or a negated errno.
int OutputFile::openTarget() {
  struct stat old = {};
  const bool exists = stat(path.c_str(), &old) == 0;
  // Such as a loop of links, one of which a rename would replace.
  if (!exists && errno != ENOENT) return -errno;
  if (exists && S_ISDIR(old.st_mode)) return -EISDIR;
  // A device or a pipe can't be replaced by a rename.
  if (exists && !S_ISREG(old.st_mode)) {
    // Opening a pipe would wait for its reader; writing to it may wait.
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return -errno;
    static_cast<void>(fcntl(descriptor, F_SETFL, 0));
    return descriptor;
  }
  // A rename asks for no permission on the old file, so a write-protected one is refused here.
  if (exists && access(path.c_str(), W_OK) != 0) return -errno;

  target = behindLinks(path);
  catchInterruptions();
  // In the same folder, because a rename only works within one file system.
  std::string name = target + ".XXXXXX";
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) return -errno;
  temporary = std::move(name);
  // mkostemp() makes files that only their owner can read.
  static_cast<void>(fchmod(descriptor, exists ? old.st_mode & 07777 : newFileMode()));
  return descriptor;
}

int OutputFile::write(const void* bytes, std::size_t count) {
  if (interruptedBy != 0) return -EINTR;
  return std::fwrite(bytes, 1, count, stream.get()) == count ? 0 : -errno;
}

int OutputFile::close() {
  // The stream is gone even when closing fails, so it must not be closed again.
  return std::fclose(stream.release()) == 0 ? 0 : -errno;
}

int OutputFile::keep() {
  if (temporary.empty()) return 0;
  if (rename(temporary.c_str(), target.c_str()) != 0) return -errno;
  temporary.clear();
  return 0;
}

int OutputFile::interruption() {
  return interruptedBy;
}
