#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "ostrelLog/fleet/KnownRows.hpp"

namespace logtool {

/// The file of rows that a run appends to. It is locked against other runs while it is open.
///
/// Whatever ends the process, the file holds whole rows, and at most half a line behind them. Rows that
/// reached the disk survive a loss of power: that is done about once a second, and at the end.
class RowFile {
 public:
  RowFile() = default;
  RowFile(const RowFile&) = delete;
  RowFile& operator=(const RowFile&) = delete;
  ~RowFile();

  /// Opens the file, creates it where there is none, hands its rows to `known`, and takes away half a last
  /// line. A fault when another run has it, or it is no file of rows; the file is then as before.
  std::optional<Fault> open(const std::string& path, KnownRows& known);

  /// Appends a row. Throws std::system_error when it can't be written; the rows before it are whole.
  void append(const Json& row);

  /// Makes sure that all rows are on the disk. Throws std::system_error.
  void synchronise();

  /// The same, once a second; called more often than that.
  void synchroniseWhenDue();

 private:
  std::string name;
  int file = -1;
  std::uint64_t bytes = 0;
  bool written = false;  ///< since the last synchronisation
  std::chrono::steady_clock::time_point synchronised;
};

}  // namespace logtool
