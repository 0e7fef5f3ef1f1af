#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

/// The bytes of one legacy log: its text header (LegacyFormat.hpp), then the doubles of its records, in the
/// order of the file. What they mean is the caller's to know.
///
/// A read error ends the file as its end does, after one line at error priority.
class LegacyFile {
 public:
  LegacyFile();
  LegacyFile(const LegacyFile&) = delete;
  LegacyFile& operator=(const LegacyFile&) = delete;

  /// Opens the log at `logPath`. 0 or a negated errno; nothing is logged. Called once, first.
  int open(const std::string& logPath);

  void close();

  /// The lines from "-- Build infos" through "-- Data", each with a line feed; the file then stands at the
  /// first byte of the data. Empty, after one line at error priority, when there is no such section; up to
  /// the end of the file when it has no "-- Data" line. Called once, before the operations below.
  std::string extractHeader();

  /// Whether the header ended with its "-- Data" line.
  bool hasData() const { return dataFound; }

  /// Reads the next `count` values, in one go. False when the file ends before the last of them, and then
  /// ever after.
  bool read(double* values, std::size_t count);

  /// Moves past `count` values; false when the file ends before the last of them.
  bool skip(std::uint64_t count);

  /// Ends the file here: no value is read any more.
  void end() { file.setstate(std::ios::eofbit); }

  /// 0, or the negated errno of the read error that ended the file.
  int readError() const { return error; }

  /// Bytes read of the file, those of a value that it ends in among them.
  std::uint64_t position() const { return offset; }

  const std::string& path() const { return filePath; }

 private:
  bool readLine(std::string& line);
  void keepReadError();

  std::string filePath;
  std::vector<char> buffer;  ///< the stream's, and therefore destroyed after it
  std::ifstream file;
  std::uint64_t offset = 0;
  bool dataFound = false;
  int error = 0;
};
