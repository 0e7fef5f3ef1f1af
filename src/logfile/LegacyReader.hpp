#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyHeader.hpp"
#include "logfile/LegacyRecords.hpp"
#include "logfile/LegacySample.hpp"
#include "logfile/LogFile.hpp"
#include "registry/DataRegistry.hpp"

/// Reads one legacy log (LegacyLayout.hpp) into a registry.
///
/// File, parser, binding and decoder only give values. This class logs what they have found.
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

  /// Reads the header and binds the log's names to the registry. A header that can't be used, or is not one
  /// of this reader's contents, ends the process with exit status 1, after a line at error priority.
  ///
  ///   0        ready to read
  ///   -EINVAL  empty path, or the file can't be opened; nothing is logged
  int open(const char* logPath) override;

  int close() override;

  /// Reads one record into the registry, whatever its step index.
  ///
  ///   0         one record stored
  ///   -ENODATA  no complete record is left, now and ever after; a record that is not complete is logged
  ///   -EINVAL   this reader serves an event log
  int popSample() override;

  /// Applies every pending event recorded at or before `index`, in file order.
  ///
  ///   > 0       number of positions in `events`
  ///   -EAGAIN   nothing due yet; `events` is empty
  ///   -ENODATA  the data ended, now and ever after; events met before the end stay applied and listed
  ///   -EINVAL   this reader serves a continuous log
  int popSample(int index, std::vector<int>& events) override;

  /// Reads an event log to its end, in the memory of one record, and stores nothing. Calls of APIs that the
  /// library does not have are not counted; calls of APIs that the header does not name are, whatever their
  /// step.
  void warnOfMissedCalls(std::int64_t nextStep, const std::function<bool()>& isStopped) override;

 private:
  HeaderText readHeaderText();
  void openContinuous(const HeaderText& text);
  void openEvents(const HeaderText& text);
  int fillSample(unsigned long n);
  void noteMissedCall();
  bool readHeadAhead();
  bool isRecord(EventRecords::State state);
  void reportReadError();

  DataRegistry& registry;
  LogFile::Contents contents;
  LegacyFile file;
  std::unique_ptr<LegacyFormat> format;
  std::unique_ptr<LegacySample> sample;
  std::unique_ptr<EventRecords> records;  ///< of an event log
  bool headAhead = false;                 ///< the sample holds the head of an event that is not due yet
  bool readErrorTold = false;
  std::uint64_t missedCalls = 0;
  std::int32_t firstMissedStep = 0;
};
