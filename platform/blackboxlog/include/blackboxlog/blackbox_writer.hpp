#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "telemetry/var_desc.hpp"

namespace blackboxlog {

/// Writes one blackbox log, as the telemetry library reads it.
///
/// Blocks are gathered in memory and handed to the kernel when 64 KiB have come together, at flush() and at
/// close(). Results are 0 (or an id) or a negated errno. When the file can't be written (-ENOSPC, -EFBIG,
/// -EIO, ...), that operation and all later ones up to close() return the same error: the log then ends
/// where the kernel stopped. Misuse (-EBADF when no log is open, -EINVAL, -EMSGSIZE) changes nothing.
/// Nothing is logged. Single-threaded.
class BlackboxWriter {
 public:
  BlackboxWriter() = default;
  BlackboxWriter(const BlackboxWriter&) = delete;
  BlackboxWriter& operator=(const BlackboxWriter&) = delete;

  /// Closes the log; call close() to learn whether all of it was written.
  ~BlackboxWriter();

  /// Creates the log, or empties the file that is there (mode 0666 less the umask), and writes its header
  /// values through to the kernel. The file stays locked (flock) until the log is closed. -EBUSY, and the
  /// file is left alone, while a log is open or while a process has locked the file, in particular to write
  /// another log there. -EMSGSIZE when the values need more than 1 MiB. After an error no log is open but
  /// one that was before.
  int open(const std::string& path, const std::map<std::string, std::string>& header);

  /// Begins a section of these variables, in this order in every sample. The result is its id. -EINVAL for
  /// a variable without bytes, -EMSGSIZE when the description or a sample would be larger than 1 MiB,
  /// -ENOBUFS when 256 sections exist.
  int addSection(const std::string& name, const std::vector<telemetry::VarDesc>& variables);

  /// Adds a sample of section `id`, taken at `time` (kept as it is): its variables' values back to back.
  /// -EINVAL when there is no such section or `size` is not that of its sample. Allocates nothing.
  int sample(unsigned int id, const timespec& time, const void* bytes, std::size_t size);

  /// Hands all that is gathered to the kernel, which puts it on the disk in its own time.
  int flush();

  /// Bytes of the log that were handed to the kernel; after close() of the whole log or of what there is.
  std::uint64_t written() const { return handedOver; }

  /// Where in the log the sample added last ends. The log holds it when written() has come that far.
  std::uint64_t sampleEnd() const { return blockEnd; }

  /// Ends the log and closes the file. The result tells whether all of the log was handed over.
  int close();

 private:
  int takeFile();
  void beginBlock();
  void put(const void* bytes, std::size_t size);
  void putNumber(std::uint32_t number) { put(&number, sizeof number); }
  void putText(const std::string& text);
  int endBlock(std::uint32_t kind, unsigned int id);

  int file = -1;
  int status = -EBADF;                   ///< what every operation returns once it is not 0
  std::vector<std::size_t> sampleBytes;  ///< of each section, by its id
  std::vector<unsigned char> pending;    ///< gathered, not yet handed to the kernel
  std::size_t blockStart = 0;            ///< in `pending`, of the block begun last
  std::uint64_t handedOver = 0;
  std::uint64_t blockEnd = 0;
};

}  // namespace blackboxlog
