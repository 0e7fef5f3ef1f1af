#include "ostrelLog/rescue/LogBytes.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "logfile/ErrorText.hpp"

namespace logtool {

namespace {

constexpr std::size_t BUFFER_BYTES = 256UL * 1024;

}  // namespace

LogBytes::~LogBytes() {
  if (file >= 0) ::close(file);
}

std::string LogBytes::open(const std::string& path) {
  // Non-blocking, because opening a pipe would wait for its writer.
  file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  struct stat opened = {};
  if (file < 0 || fstat(file, &opened) != 0) return errorText(-errno);
  if (!S_ISREG(opened.st_mode)) return "not a regular file";
  fileBytes = static_cast<std::uint64_t>(opened.st_size);
  return {};
}

const unsigned char* LogBytes::at(std::uint64_t offset, std::size_t count) {
  if (offset > fileBytes || count > fileBytes - offset) return nullptr;
  if (offset < bufferStart || offset + count > bufferStart + buffer.size()) {
    buffer.resize(static_cast<std::size_t>(
        std::min<std::uint64_t>(std::max(count, BUFFER_BYTES), fileBytes - offset)));
    bufferStart = offset;
    const ssize_t got = pread(file, buffer.data(), buffer.size(), static_cast<off_t>(offset));
    buffer.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (buffer.size() < count) {
      // Bytes that were there when the file was opened can also be missing because it has become shorter.
      error = got < 0 ? -errno : -EIO;
      return nullptr;
    }
  }
  return buffer.data() + (offset - bufferStart);
}

}  // namespace logtool
