#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

/// What stands in a legacy log before its records.
struct HeaderText {
  /// Of a header, the most bytes that are kept. Far above any real one (the columns of all sensors take 5
  /// KiB), and a bound on memory when a file that is no log, or whose "-- Data" line is damaged, is taken
  /// for one.
  static constexpr std::size_t MAX_BYTES = 4UL * 1024 * 1024;
  /// Of a file, the most bytes that are searched for the header and its end, so that an endless device ends
  /// the search too.
  static constexpr std::uint64_t MAX_SEARCH_BYTES = 256UL * 1024 * 1024;

  /// More lines than this in front of a header are worth a warning.
  static constexpr std::uint64_t MAX_SILENT_PREAMBLE = 6;

  std::string text;                 ///< the header's lines, each with a line feed; empty without a header
  std::uint64_t preambleLines = 0;  ///< lines in front of it
  bool started = false;             ///< its first line was found
  bool complete = false;            ///< its "-- Data" line was found
  bool endDamaged = false;          ///< that line has no line feed, or goes on with bytes that are no text
  bool truncated = false;           ///< it is longer than MAX_BYTES, and `text` is only its beginning
  bool beyondLimit = false;         ///< it goes on behind one of the limits, and can't be used
};

/// The bytes of one legacy log: its header's text, then the doubles of its records, in the order of the
/// file. The caller knows what they mean. Nothing is logged here.
///
/// A read error ends the file as its end does.
class LegacyFile {
 public:
  LegacyFile();
  LegacyFile(const LegacyFile&) = delete;
  LegacyFile& operator=(const LegacyFile&) = delete;

  /// Opens the log at `logPath`. 0 or a negated errno. Called once, first.
  int open(const std::string& logPath);

  void close();

  /// Reads up to the first byte of the records: the end of the file when the header has no "-- Data" line.
  /// Called once, before the operations below.
  HeaderText readHeader();

  /// Whether the header ended with its "-- Data" line.
  bool hasData() const { return dataFound; }

  /// Whether that line has lost its end (HeaderText::endDamaged).
  bool isEndDamaged() const { return endDamaged; }

  /// Reads the next `count` values, in one go. False when the file ends before the last of them, and then
  /// ever after.
  bool read(double* values, std::size_t count);

  /// The same, appended to `values`; what was appended means nothing after a failure.
  bool append(std::vector<double>& values, std::size_t count);

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
  bool endDamaged = false;
  int error = 0;
};
