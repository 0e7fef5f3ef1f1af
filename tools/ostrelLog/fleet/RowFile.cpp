#include "ostrelLog/fleet/RowFile.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "logfile/ErrorText.hpp"
#include "ostrelLog/fleet/SystemError.hpp"

namespace logtool {

RowFile::~RowFile() {
  if (file >= 0) close(file);
}

std::optional<Fault> RowFile::open(const std::string& path, KnownRows& known) {
  name = path;
  std::error_code none;
  if (std::filesystem::exists(path, none) && !std::filesystem::is_regular_file(path, none)) {
    return Fault{path, "not a regular file"};
  }
  file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0) return Fault{path, errorText(-errno)};
  // The processes of a run that was killed hold its lock until they have died, too.
  int result = flock(file, LOCK_EX | LOCK_NB);
  for (int tries = 0; result != 0 && errno == EWOULDBLOCK && tries < 60; ++tries) {
    usleep(50'000);
    result = flock(file, LOCK_EX | LOCK_NB);
  }
  if (result != 0) {
    return Fault{path, errno == EWOULDBLOCK ? "another run writes it" : errorText(-errno)};
  }
  if (auto fault = readRows(
          path, [&known](const Json& row) { known.add(row); }, bytes))
    return fault;
  if (ftruncate(file, static_cast<off_t>(bytes)) != 0) return Fault{path, errorText(-errno)};
  return std::nullopt;
}

void RowFile::append(const Json& row) {
  const std::string line = row.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  std::size_t done = 0;
  while (done < line.size()) {
    const ssize_t count = write(file, line.data() + done, line.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      const int error = errno;
      static_cast<void>(!ftruncate(file, static_cast<off_t>(bytes)));
      fail(error, name);
    }
    done += static_cast<std::size_t>(count);
  }
  bytes += line.size();
  written = true;
}

void RowFile::synchroniseWhenDue() {
  if (std::chrono::steady_clock::now() - synchronised >= std::chrono::seconds(1)) synchronise();
}

void RowFile::synchronise() {
  if (written && fdatasync(file) != 0) fail(errno, name);
  written = false;
  synchronised = std::chrono::steady_clock::now();
}

}  // namespace logtool
