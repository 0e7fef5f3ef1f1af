#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "logfile/LogFile.hpp"

/// The text header of a legacy log (LegacyLayout.hpp), parsed into values.
///
/// Nothing here logs anything or ends the process. What is wrong with a header is a value as well, so that
/// a replay, the companion tool, the fuzzers and the tests all use this one parser.

/// One header line: a key and its values.
struct LegacyHeaderEntry {
  /// `headerLine` has no line feed. A line without ':' is a key without values.
  explicit LegacyHeaderEntry(const std::string& headerLine, std::size_t lineNumber = 0);

  std::string name;                 ///< the key
  std::vector<std::string> values;  ///< in line order; empty for a line without value text
  std::size_t line;                 ///< number of the line in its file, from 1
};

/// The lines of a header by key, not checked against any kind of log.
struct LegacyHeader {
  /// `text` holds the header's lines, each with its line feed; the first of them is line `firstLine` of the
  /// file.
  explicit LegacyHeader(const std::string& text, std::size_t firstLine = 1);

  /// Whether the header says that the log holds events.
  bool isOfEvents() const;

  /// The first value of `key`, or the empty text when the header has none.
  std::string firstValue(const std::string& key) const;

  std::map<std::string, LegacyHeaderEntry> headerEntries;  ///< by key; the first line of a key wins
};

/// What parsing a header found to say.
struct HeaderRemark {
  enum Kind {
    EVENTS_FOR_CONTINUOUS,  ///< a continuous log was expected; it is read as one all the same
    COUNT_DIFFERS,          ///< "nentries" is not the number of titles, by which the log is read
    KEY_MISSING,            ///< fault: `key` is not there, or names nothing where it must
    NUMBER_UNUSABLE,        ///< fault: `text` is no number that `key` can have
    NOT_OF_EVENTS,          ///< fault: an event log was expected
  };

  /// Whether the log can't be read.
  bool isFault() const { return kind >= KEY_MISSING; }

  /// A fault in words: why the log can't be read.
  std::string faultText() const;

  Kind kind;
  std::string key;
  std::string text;  ///< what stands there, where that is the fault
  std::size_t line;  ///< number of the key's line in the file; 0 when there is none
};

/// The names that a legacy log is read by.
class LegacyFormat {
 public:
  LegacyFormat() = default;
  LegacyFormat(const LegacyFormat&) = delete;
  LegacyFormat& operator=(const LegacyFormat&) = delete;
  virtual ~LegacyFormat() = default;

  /// The column names of a continuous log, or the API names of an event log in the order of their event
  /// ids.
  virtual const std::vector<std::string>& getEntries() const = 0;

  /// The argument names of the API at position `i` of getEntries(); empty for an API without any, and for
  /// every position in a continuous log.
  virtual const std::vector<std::string>& getSubEntries(int i) const = 0;
};

/// What parsing a header gives: a format, or the fault that it has.
template <class Format>
struct ParsedHeader {
  /// The fault, always the last remark; null when there is none.
  const HeaderRemark* fault() const {
    return !remarks.empty() && remarks.back().isFault() ? &remarks.back() : nullptr;
  }

  std::unique_ptr<Format> format;     ///< null after a fault
  std::vector<HeaderRemark> remarks;  ///< in the order found
};

/// The columns of a continuous log.
class ContinuousFormat : public LegacyFormat {
 public:
  static ParsedHeader<ContinuousFormat> parse(const LegacyHeader& header);

  const std::vector<std::string>& getEntries() const override { return entries; }
  const std::vector<std::string>& getSubEntries(int i) const override;

 private:
  ContinuousFormat() = default;

  std::vector<std::string> entries;
};

/// The APIs of an event log and their arguments.
class EventFormat : public LegacyFormat {
 public:
  static ParsedHeader<EventFormat> parse(const LegacyHeader& header);

  const std::vector<std::string>& getEntries() const override { return entries; }
  const std::vector<std::string>& getSubEntries(int i) const override;

  /// The number of APIs that "argNb" has a count for.
  std::size_t countedApis() const { return argCounts.size(); }

 private:
  EventFormat() = default;

  void cutArgumentNames(const std::vector<std::string>& argumentNames);

  std::vector<std::string> entries;
  std::vector<std::int32_t> argCounts;
  std::vector<std::vector<std::string>> subEntries;  ///< one list per element of `argCounts`
};
