#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

/// A file being written through a large buffer. It stays only when it was kept: a regular file that open()
/// created is removed by the destructor otherwise, so that no half-written one is left behind. What stood
/// there before (a file, a device, a link) is overwritten and never removed.
class OutputFile {
 public:
  explicit OutputFile(std::string filePath);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  /// Opens the file, empty. 0 or a negated errno. Called once, before the operations below.
  int open();
  /// Appends to the file. 0, or a negated errno once what was buffered can't be written.
  int write(const void* bytes, std::size_t count);
  /// Writes what is buffered and closes the file. 0 or a negated errno.
  int close();
  /// Lets the file stay.
  void keep() { created = false; }

  const std::string path;

 private:
  struct Closer {
    void operator()(std::FILE* open) const { static_cast<void>(std::fclose(open)); }
  };

  bool created = false;  // by open(), and not kept
  std::vector<char> buffer;
  std::unique_ptr<std::FILE, Closer> stream;  // uses `buffer` until it is closed
};
