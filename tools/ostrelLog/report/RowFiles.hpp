#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ostrelLog/Output.hpp"

namespace logtool {

/// The files of rows that `regress` has written, one JSON object a line. Several runs and machines may have
/// left a row for the same key; the last one counts, in the order of the files and of their lines.
///
/// Rows are read twice and never kept: a million of them take some 20 MB here, whatever they say.
class RowFiles {
 public:
  /// Takes files as they are given, and of a folder every file below it that ends in ".jsonl", in the order
  /// of their paths. Finds the row that counts for each key. Each fault is told to `fault`: a file that
  /// can't be read, a line that is no row. Half a line at the end of a file is the trace of a run that was
  /// killed, and no fault.
  RowFiles(const std::vector<std::string>& paths, const std::function<void(const Fault&)>& fault);

  /// The files that are read, those of folders too.
  std::vector<std::string> paths() const;

  /// Where a row is.
  struct Place {
    /// For a fault to name.
    std::string text() const { return file + ", line " + std::to_string(line); }

    std::string file;
    std::uint64_t line;
  };

  /// Hands over each row that counts, as the text of its line.
  void forEach(const std::function<void(const std::string& line, const Place& place)>& take) const;

 private:
  struct File {
    std::string path;
    std::uint64_t bytes = 0;  ///< of whole lines; a run that goes on may append more
  };

  std::vector<File> files;
  std::vector<bool> counts;  ///< of each line of all files
};

}  // namespace logtool
