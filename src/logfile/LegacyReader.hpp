#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyFormat.hpp"
#include "logfile/LegacySample.hpp"
#include "logfile/LogFile.hpp"
#include "registry/DataRegistry.hpp"

/// Reads one legacy log: a text header (LegacyFormat.hpp), then back-to-back records (LegacySample.hpp).
///
/// The caller owns the reader and calls close() before deleting it. The registry is borrowed, must be
/// frozen before open(), and outlives the reader. open() is called once, before any popSample().
///
/// A read error ends the log as its end does, after one line at error priority.
class LegacyReader : public LogFile::IReader {
 public:
  /// A new reader, owned by the caller.
  static LogFile::IReader* create(DataRegistry& registry, LogFile::Contents contents);

  LegacyReader(DataRegistry& targetRegistry, LogFile::Contents kind);
  LegacyReader(const LegacyReader&) = delete;
  LegacyReader& operator=(const LegacyReader&) = delete;
  ~LegacyReader() override;

  /// Reads the header and binds the log's names to the registry. A header that does not fit the contents
  /// ends the process (LegacyFormat).
  ///
  ///   0        ready to read
  ///   -EINVAL  empty path, or the file can't be opened; nothing is logged
  int open(const char* logPath) override;

  int close() override;

  /// Reads one record into the registry, whatever its step index.
  ///
  ///   0         one record stored
  ///   -ENODATA  no complete record is left, now and ever after
  ///   -EINVAL   this reader serves an event log
  int popSample() override;

  /// Applies every pending event recorded at or before `index`, in file order.
  ///
  ///   > 0       number of positions in `events`
  ///   -EAGAIN   nothing due yet; `events` is empty
  ///   -ENODATA  the data ended, now and ever after; events met before the end stay applied and listed
  ///   -EINVAL   this reader serves a continuous log
  int popSample(int index, std::vector<int>& events) override;

 private:
  int fillSample(unsigned long n);
  bool readHeaderAhead();
  bool readArguments();
  void reportDamage() const;

  DataRegistry& registry;
  LogFile::Contents contents;
  LegacyFile file;
  std::unique_ptr<LegacyFormat> format;
  std::unique_ptr<LegacySample> sample;
  std::uint64_t recordOffset = 0;  ///< where the current event record starts
  bool headerAhead = false;        ///< the sample holds the header of an event that is not due yet
};
