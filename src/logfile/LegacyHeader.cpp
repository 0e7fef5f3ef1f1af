#include "logfile/LegacyFormat.hpp"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <sstream>

#include "logservice/log.h"
#include "ostrel/utils.hpp"
#include "registry/LogTag.hpp"

namespace {

const std::vector<std::string> NO_NAMES;

[[noreturn]] void exitWithoutEntry(const std::string& key) {
  log_print(LOG_TAG, LOG_ERR, "File doesn't have a '%s' entry", key.c_str());
  std::exit(EXIT_FAILURE);
}

[[noreturn]] void exitOnBadNumber(const char* key, const std::string& text) {
  log_print(LOG_TAG, LOG_ERR, "File has a '%s' entry that is not a usable number : %s", key, text.c_str());
  std::exit(EXIT_FAILURE);
}

/// A decimal number at the start of `text`, as `convert` (strtol or strtoul) reads it. Ends the process
/// when there is none, or none that `convert` can hold.
template <class Number>
Number parseNumber(Number (*convert)(const char*, char**, int), const char* key, const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const Number number = convert(text.c_str(), &end, 10);
  if (end == text.c_str() || errno == ERANGE) exitOnBadNumber(key, text);
  return number;
}

std::int32_t parseCount(const std::string& text) {
  const long count = parseNumber(std::strtol, "argNb", text);
  if (count < std::numeric_limits<std::int32_t>::min() ||
      count > std::numeric_limits<std::int32_t>::max()) {
    exitOnBadNumber("argNb", text);
  }
  return static_cast<std::int32_t>(count);
}

}  // namespace

LegacyHeaderEntry::LegacyHeaderEntry(const std::string& line) {
  std::vector<std::string> pieces = Ostrel::Utils::splitString(line, ':');
  if (!pieces.empty()) {
    Ostrel::Utils::removeSpaces(pieces[0]);
    name = pieces[0];
  }
  if (pieces.size() > 1) {
    Ostrel::Utils::removeSpaces(pieces[1]);
    if (!pieces[1].empty()) values = Ostrel::Utils::splitString(pieces[1], ',');
  }
  log_print(LOG_TAG, LOG_DEBUG, "Found header entry %s", name.c_str());
}

LegacyFormat::LegacyFormat(const std::string& header) {
  std::istringstream lines(header);
  for (std::string line; std::getline(lines, line);) {
    LegacyHeaderEntry entry(line);
    headerEntries.emplace(entry.name, std::move(entry));
  }
}

std::string LegacyFormat::firstValue(const std::string& key) const {
  const auto found = headerEntries.find(key);
  if (found == headerEntries.end() || found->second.values.empty()) return {};
  return found->second.values.front();
}

const std::vector<std::string>& LegacyFormat::requiredValues(const std::string& key) const {
  const auto found = headerEntries.find(key);
  if (found == headerEntries.end()) exitWithoutEntry(key);
  return found->second.values;
}

ContinuousFormat::ContinuousFormat(const std::string& header) : LegacyFormat(header) {
  if (firstValue("type") == "events") {
    log_print(LOG_TAG, LOG_ERR, "Expected continuous file but got events");
  }
  entries = requiredValues("titles");
  // Records of no columns would never reach the end of the data.
  if (entries.empty()) exitWithoutEntry("titles");
  requiredValues("nentries");
  if (parseNumber(std::strtoul, "nentries", firstValue("nentries")) != entries.size()) {
    log_print(LOG_TAG, LOG_WARNING, "nentries does not match the size of titles list");
  }
}

const std::vector<std::string>& ContinuousFormat::getSubEntries(int /*i*/) const {
  return NO_NAMES;
}

EventFormat::EventFormat(const std::string& header) : LegacyFormat(header) {
  requiredValues("type");
  if (firstValue("type") != "events") {
    log_print(LOG_TAG, LOG_ERR, "Expected events file");
    std::exit(EXIT_FAILURE);
  }
  for (const char* key : {"titles", "types", "nentries", "argNb", "argList"}) requiredValues(key);

  entries = requiredValues("titles");
  for (const std::string& count : requiredValues("argNb")) argCounts.push_back(parseCount(count));
  cutArgumentNames(requiredValues("argList"));
  if (log_admits(LOG_TAG, LOG_DEBUG)) logArguments();
}

void EventFormat::cutArgumentNames(const std::vector<std::string>& argumentNames) {
  std::size_t slot = 0;
  for (const std::int32_t count : argCounts) {
    // A negative count is no count: like an API without arguments, it leaves its one slot unread.
    const std::size_t names = count > 0 ? static_cast<std::size_t>(count) : 0;
    std::vector<std::string>& subEntry = subEntries.emplace_back();
    if (slot <= argumentNames.size() && names <= argumentNames.size() - slot) {
      const auto first = argumentNames.begin() + static_cast<std::ptrdiff_t>(slot);
      subEntry.assign(first, first + static_cast<std::ptrdiff_t>(names));
    }
    slot += std::max<std::size_t>(names, 1);
  }
}

void EventFormat::logArguments() const {
  for (std::size_t i = 0; i < std::min(subEntries.size(), entries.size()); ++i) {
    log_print(LOG_TAG, LOG_DEBUG, "Event %s has arguments : ", entries[i].c_str());
    for (const std::string& argument : subEntries[i]) {
      log_print(LOG_TAG, LOG_DEBUG, "    %s", argument.c_str());
    }
  }
}

const std::vector<std::string>& EventFormat::getSubEntries(int i) const {
  if (i < 0 || static_cast<std::size_t>(i) >= subEntries.size()) return NO_NAMES;
  return subEntries[static_cast<std::size_t>(i)];
}
