#include "logfile/LegacyHeader.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>
#include <sstream>
#include <utility>

#include "logfile/LegacyLayout.hpp"
#include "ostrel/utils.hpp"

namespace {

using Remarks = std::vector<HeaderRemark>;

// What is returned by reference where there are no names.
const std::vector<std::string> NO_NAMES;

/// A decimal number at the start of `text`, as `convert` (strtol or strtoul) reads it: blanks and a sign
/// may stand before it, anything behind it is ignored. Nothing when there is no number, or none that
/// `convert` can hold.
template <class Number>
std::optional<Number> parseNumber(Number (*convert)(const char*, char**, int), const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const Number number = convert(text.c_str(), &end, 10);
  if (end == text.c_str() || errno == ERANGE) return std::nullopt;
  return number;
}

/// The number of columns. strtoul takes a number below 0 for a large one, which no count means.
std::optional<unsigned long> parseColumnCount(const std::string& text) {
  const std::optional<unsigned long> count = parseNumber(std::strtoul, text);
  if (count != 0UL && text.find('-') < text.find_first_of("0123456789")) return std::nullopt;
  return count;
}

/// The number of arguments of one API. It may be negative, which counts as 0 later on.
std::optional<std::int32_t> parseArgumentCount(const std::string& text) {
  const std::optional<long> count = parseNumber(std::strtol, text);
  if (!count || *count < std::numeric_limits<std::int32_t>::min() ||
      *count > std::numeric_limits<std::int32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(*count);
}

/// The line of a key that this kind of log can't do without; null, with the fault remarked, when it has
/// none.
const LegacyHeaderEntry* require(const LegacyHeader& header, const char* key, Remarks& remarks) {
  const auto found = header.headerEntries.find(key);
  if (found != header.headerEntries.end()) return &found->second;
  remarks.push_back({HeaderRemark::KEY_MISSING, key, {}, 0});
  return nullptr;
}

}  // namespace

LegacyHeaderEntry::LegacyHeaderEntry(const std::string& headerLine, std::size_t lineNumber)
    : line(lineNumber) {
  std::vector<std::string> pieces = Ostrel::Utils::splitString(headerLine, ':');
  if (!pieces.empty()) {
    Ostrel::Utils::removeSpaces(pieces[0]);
    name = pieces[0];
  }
  // Later pieces are dropped: a value ends at a second ':'.
  if (pieces.size() > 1) {
    Ostrel::Utils::removeSpaces(pieces[1]);
    if (!pieces[1].empty()) values = Ostrel::Utils::splitString(pieces[1], ',');
  }
}

LegacyHeader::LegacyHeader(const std::string& text, std::size_t firstLine) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line); ++firstLine) {
    LegacyHeaderEntry entry(line, firstLine);
    const std::string key = entry.name;
    // emplace() leaves an existing key alone: the first line of a key counts.
    headerEntries.emplace(key, std::move(entry));
  }
}

bool LegacyHeader::isOfEvents() const {
  return firstValue(LegacyLayout::TYPE) == LegacyLayout::EVENTS;
}

std::string LegacyHeader::firstValue(const std::string& key) const {
  const auto found = headerEntries.find(key);
  if (found == headerEntries.end() || found->second.values.empty()) return {};
  return found->second.values.front();
}

std::string HeaderRemark::faultText() const {
  if (kind == NOT_OF_EVENTS) return "it is no event log";
  if (kind == NUMBER_UNUSABLE) {
    return "its '" + key + "' entry in line " + std::to_string(line) + " is no usable number: " + text;
  }
  // Line 0 means that the key is missing. The other fault of this kind is a "titles" line without names.
  return line == 0 ? "its header has no '" + key + "' entry" : "its header names no columns";
}

ParsedHeader<ContinuousFormat> ContinuousFormat::parse(const LegacyHeader& header) {
  using namespace LegacyLayout;
  ParsedHeader<ContinuousFormat> parsed;
  Remarks& remarks = parsed.remarks;
  if (header.isOfEvents()) {
    remarks.push_back(
        {HeaderRemark::EVENTS_FOR_CONTINUOUS, TYPE, EVENTS, header.headerEntries.at(TYPE).line});
  }
  // The checks stop at the first fault, and their order is that of the lines that a replay logs.
  const LegacyHeaderEntry* titles = require(header, TITLES, remarks);
  if (titles == nullptr) return parsed;
  const LegacyHeaderEntry* count = require(header, NENTRIES, remarks);
  if (count == nullptr) return parsed;
  const std::string countText = header.firstValue(NENTRIES);
  const std::optional<unsigned long> columns = parseColumnCount(countText);
  if (!columns) {
    remarks.push_back({HeaderRemark::NUMBER_UNUSABLE, NENTRIES, countText, count->line});
    return parsed;
  }
  // The titles decide how many values a record has; the count is only checked against them.
  if (*columns != titles->values.size()) {
    remarks.push_back({HeaderRemark::COUNT_DIFFERS, NENTRIES, countText, count->line});
  }
  if (titles->values.empty()) {
    // Records of no columns would never reach the end of the data.
    remarks.push_back({HeaderRemark::KEY_MISSING, TITLES, {}, titles->line});
    return parsed;
  }
  // make_unique can't reach the private constructor, which leaves parse() as the only way in.
  parsed.format.reset(new ContinuousFormat);
  parsed.format->entries = titles->values;
  return parsed;
}

const std::vector<std::string>& ContinuousFormat::getSubEntries(int /*i*/) const {
  return NO_NAMES;
}

ParsedHeader<EventFormat> EventFormat::parse(const LegacyHeader& header) {
  using namespace LegacyLayout;
  ParsedHeader<EventFormat> parsed;
  Remarks& remarks = parsed.remarks;
  const LegacyHeaderEntry* type = require(header, TYPE, remarks);
  if (type == nullptr) return parsed;
  if (!header.isOfEvents()) {
    remarks.push_back({HeaderRemark::NOT_OF_EVENTS, TYPE, header.firstValue(TYPE), type->line});
    return parsed;
  }
  for (const char* key : {TITLES, TYPES, NENTRIES, ARG_NB, ARG_LIST}) {
    if (require(header, key, remarks) == nullptr) return parsed;
  }
  std::unique_ptr<EventFormat> format(new EventFormat);
  format->entries = header.headerEntries.at(TITLES).values;
  const LegacyHeaderEntry& counts = header.headerEntries.at(ARG_NB);
  for (const std::string& text : counts.values) {
    const std::optional<std::int32_t> count = parseArgumentCount(text);
    if (!count) {
      remarks.push_back({HeaderRemark::NUMBER_UNUSABLE, ARG_NB, text, counts.line});
      return parsed;
    }
    format->argCounts.push_back(*count);
  }
  format->cutArgumentNames(header.headerEntries.at(ARG_LIST).values);
  parsed.format = std::move(format);
  return parsed;
}

void EventFormat::cutArgumentNames(const std::vector<std::string>& argumentNames) {
  std::size_t slot = 0;
  for (const std::int32_t count : argCounts) {
    // A negative count is treated like 0: an API without arguments, which still has its one slot.
    const auto names = static_cast<std::size_t>(std::max(count, 0));
    std::vector<std::string>& subEntry = subEntries.emplace_back();
    // An API whose names the list does not have in full gets none.
    if (slot <= argumentNames.size() && names <= argumentNames.size() - slot) {
      const auto first = argumentNames.begin() + static_cast<std::ptrdiff_t>(slot);
      subEntry.assign(first, first + static_cast<std::ptrdiff_t>(names));
    }
    // An API without arguments takes one slot too, which holds "none".
    slot += std::max<std::size_t>(names, 1);
  }
}

const std::vector<std::string>& EventFormat::getSubEntries(int i) const {
  if (i < 0 || static_cast<std::size_t>(i) >= subEntries.size()) return NO_NAMES;
  return subEntries[static_cast<std::size_t>(i)];
}
