#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

/// A file that appears under its name only when it is whole: it is written beside that name, through a
/// large buffer, and renamed at the end. Until then, and after any failure, what stood there before stays
/// as it was. A device or a pipe can't be replaced, and is written directly.
class OutputFile {
 public:
  explicit OutputFile(std::string filePath);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  /// Removes what was written, unless it was kept.
  ~OutputFile();

  /// Begins the file, empty. 0 or a negated errno; -ENXIO for a pipe without a reader. Called once, before
  /// the operations below.
  int open();
  /// Appends to the file. 0, or a negated errno once what was buffered can't be written; -EINTR after
  /// a signal that asks the process to end.
  int write(const void* bytes, std::size_t count);
  /// Writes what is buffered and closes the file. 0 or a negated errno.
  int close();
  /// Puts the closed file in its place. 0 or a negated errno.
  int keep();

  /// The signal that made every write() fail, 0 when there was none. From the first open() of a
  /// file that can be replaced, SIGHUP, SIGINT and SIGTERM no longer end the process, so that it removes
  /// what it has not finished; whoever runs it raises the signal again in the end. A signal that was
  /// ignored stays ignored.
  static int interruption();

  const std::string path;

 private:
  struct Closer {
    void operator()(std::FILE* open) const { static_cast<void>(std::fclose(open)); }
  };

  int openTarget();

  std::string target;     ///< the file that `path` leads to, through links
  std::string temporary;  ///< beside it; empty when there is nothing to remove or to rename
  std::vector<char> buffer;
  std::unique_ptr<std::FILE, Closer> stream;  // uses `buffer` until it is closed
};
