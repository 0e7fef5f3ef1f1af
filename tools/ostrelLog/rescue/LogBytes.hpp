#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace logtool {

/// The bytes of a log at any offset, read through a buffer. A pipe or a device can't be read twice, so the
/// log must be a regular file.
class LogBytes {
 public:
  LogBytes() = default;
  LogBytes(const LogBytes&) = delete;
  LogBytes& operator=(const LogBytes&) = delete;
  ~LogBytes();

  /// Opens the log at `path`. The reason when it can't be read, empty otherwise. Called once, first.
  std::string open(const std::string& path);

  /// Size of the file when it was opened.
  std::uint64_t size() const { return fileBytes; }

  /// `count` bytes from `offset` on, borrowed until the next call. Null when the file ends before the last
  /// of them or can't be read.
  const unsigned char* at(std::uint64_t offset, std::size_t count);

  /// 0, or the negated errno of the last failure to read.
  int readError() const { return error; }

 private:
  int file = -1;
  std::uint64_t fileBytes = 0;
  std::vector<unsigned char> buffer;  ///< bytes of the file from `bufferStart` on
  std::uint64_t bufferStart = 0;
  int error = 0;
};

}  // namespace logtool
