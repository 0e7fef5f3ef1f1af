#include "logfile/OutputFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

constexpr std::size_t BUFFER_BYTES = 0x40000;

int openForWriting(const char* path, int furtherFlags) {
  return ::open(path, O_WRONLY | O_CREAT | O_CLOEXEC | furtherFlags, 0666);
}

}  // namespace

OutputFile::OutputFile(std::string filePath) : path(std::move(filePath)), buffer(BUFFER_BYTES) {}

OutputFile::~OutputFile() {
  if (created) static_cast<void>(unlink(path.c_str()));
}

int OutputFile::open() {
  // Exclusive creation tells for certain whether the file is this run's own.
  int descriptor = openForWriting(path.c_str(), O_EXCL);
  created = descriptor >= 0;
  if (!created && errno == EEXIST) descriptor = openForWriting(path.c_str(), O_TRUNC);
  if (descriptor < 0) return -errno;
  stream.reset(fdopen(descriptor, "wb"));
  if (!stream) {
    const int error = errno;
    static_cast<void>(::close(descriptor));
    return -error;
  }
  static_cast<void>(std::setvbuf(stream.get(), buffer.data(), _IOFBF, buffer.size()));
  return 0;
}

int OutputFile::write(const void* bytes, std::size_t count) {
  return std::fwrite(bytes, 1, count, stream.get()) == count ? 0 : -errno;
}

int OutputFile::close() {
  return std::fclose(stream.release()) == 0 ? 0 : -errno;
}
