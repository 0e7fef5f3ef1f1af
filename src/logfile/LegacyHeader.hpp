#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// The text header of a legacy log.
///
///   preamble   lines without "-- Build infos", dropped
///   header     from the first line that contains "-- Build infos" through the first line, that one
///              included, that contains "-- Data"; the lines in between are "key : value, value, ..."
///   data       from the byte after that line to the end of the file: records of 8-byte little-endian
///              doubles, back to back (LegacySample.hpp)
///
/// Keys: "type" ("events", anything else is continuous), "titles" (column or API names), "nentries", and
/// "ro.hardware" (the variant); of an event log also "types", "argNb" (argument count of each API),
/// "argList" (the argument names of all APIs; one without arguments still takes one slot) and "product"
/// (the variant, in place of "ro.hardware"). Other keys are ignored, and so are lines without ':'.

/// One header line: a key and its values.
struct LegacyHeaderEntry {
  /// `line` has no line feed. White space goes everywhere, inside names too; a value ends at a second ':'.
  explicit LegacyHeaderEntry(const std::string& line);

  std::string name;                 ///< the key
  std::vector<std::string> values;  ///< in line order; empty for a line without value text
};

/// The header of one legacy log, checked against the kind of log that is expected. A header that lacks what
/// the kind needs ends the process with exit status 1, after a line at error priority.
class LegacyFormat {
 public:
  /// `header` holds the header's lines, each with its line feed.
  explicit LegacyFormat(const std::string& header);
  LegacyFormat(const LegacyFormat&) = delete;
  LegacyFormat& operator=(const LegacyFormat&) = delete;
  virtual ~LegacyFormat() = default;

  /// The column names of a continuous log, or the API names of an event log in the order of their event
  /// ids.
  virtual const std::vector<std::string>& getEntries() const = 0;

  /// The argument names of the API at position `i` of getEntries(); empty for an API without any, and for
  /// every position in a continuous log.
  virtual const std::vector<std::string>& getSubEntries(int i) const = 0;

  /// The first value of `key`, or the empty text when the header has none.
  std::string firstValue(const std::string& key) const;

  std::map<std::string, LegacyHeaderEntry> headerEntries;  ///< by key; the first line of a key wins

 protected:
  /// The values of a key that this kind of log can't do without.
  const std::vector<std::string>& requiredValues(const std::string& key) const;
};

/// The columns of a continuous log.
class ContinuousFormat : public LegacyFormat {
 public:
  explicit ContinuousFormat(const std::string& header);

  const std::vector<std::string>& getEntries() const override { return entries; }
  const std::vector<std::string>& getSubEntries(int i) const override;

 private:
  std::vector<std::string> entries;
};

/// The APIs of an event log and their arguments.
class EventFormat : public LegacyFormat {
 public:
  explicit EventFormat(const std::string& header);

  const std::vector<std::string>& getEntries() const override { return entries; }
  const std::vector<std::string>& getSubEntries(int i) const override;

 private:
  void cutArgumentNames(const std::vector<std::string>& argumentNames);
  void logArguments() const;

  std::vector<std::string> entries;
  std::vector<std::int32_t> argCounts;
  std::vector<std::vector<std::string>> subEntries;  ///< one list per element of `argCounts`
};
