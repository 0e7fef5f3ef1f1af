#include "logfile/LegacySample.hpp"

#include <syslog.h>

#include <algorithm>
#include <utility>

#include "logfile/LegacyLayout.hpp"
#include "logfile/LegacyRecords.hpp"
#include "logservice/log.h"
#include "registry/LogTag.hpp"

namespace {

/// Logs the names that only the registry or only the log has.
void logBinding(const ColumnBinding& binding) {
  if (!binding.notInFile.empty()) {
    log_print(LOG_TAG, LOG_WARNING, "%zu registered entries not found in file :", binding.notInFile.size());
    for (const std::string& name : binding.notInFile)
      log_print(LOG_TAG, LOG_WARNING, "    %s", name.c_str());
  }
  if (!binding.notRegistered.empty()) {
    log_print(LOG_TAG, LOG_INFO, "%zu entries found in file but not registered to",
              binding.notRegistered.size());
    for (const std::string& name : binding.notRegistered)
      log_print(LOG_TAG, LOG_DEBUG, "    %s", name.c_str());
  }
}

/// Logs how an API of the log differs from the library's. Calls with other arguments are replayed all the
/// same; only those of an unknown API are not.
void logBinding(const ApiBinding& api) {
  if (api.position < 0) {
    log_print(LOG_TAG, LOG_INFO,
              "API named %s in log file wasn't found in libOstrel.so, if any, calls will be ignored",
              api.name.c_str());
    return;
  }
  for (const ArgumentDifference& argument : api.differences) {
    log_print(LOG_TAG, LOG_ERR,
              "API %s arg number %zu name differs between log file (%s) and libostrel.so (%s)",
              api.name.c_str(), argument.position, argument.inFile.c_str(), argument.inLibrary.c_str());
  }
  if (api.argumentsInFile != api.argumentsInLibrary) {
    log_print(
        LOG_TAG, LOG_ERR,
        // The line is an interface, the missing blank in "argsthan" included.
        "API %s in log file has a different number (%zu) of argsthan was found in libOstrel (%zu), args in "
        "excess will be ignored.",
        api.name.c_str(), api.argumentsInFile, api.argumentsInLibrary);
  }
}

}  // namespace

LegacySample::LegacySample(const LegacyFormat& logFormat)
    : size(logFormat.getEntries().size()), format(&logFormat) {
  reserve(size);  // so that reading records allocates nothing
}

std::int32_t LegacyContinuousSample::buildList(const DataRegistry& registry) {
  ColumnBinding binding = bindColumns(format->getEntries(), registry);
  logBinding(binding);
  columnEntries = std::move(binding.entries);
  return 0;
}

std::int32_t LegacyContinuousSample::updateRegEntries() {
  // In column order, so that of two columns of one name the later one's value stays.
  for (std::size_t column = 0; column < columnEntries.size(); ++column) {
    if (columnEntries[column] != nullptr) columnEntries[column]->fromRecord((*this)[column]);
  }
  return 0;
}

std::int32_t LegacyEventSample::buildList(const DataRegistry& registry) {
  EventBinding binding = bindEvents(*format, registry);
  for (const ApiBinding& api : binding.apis) {
    logBinding(api);
    // By event id; a negative position makes the reader skip the calls of an API that the library lacks.
    eventMap.push_back(api.position);
  }
  apiArgs = std::move(binding.arguments);
  return 0;
}

std::uint64_t LegacyEventSample::getHeaderSize() const {
  return LegacyLayout::EVENT_HEAD_VALUES;
}

void LegacyEventSample::readHeader() {
  const EventHead head(data());
  size = head.recordBytes;
  index = head.step;
  argCount = head.argumentCount;
  // The id comes from the file, so it may be anything.
  const bool known = head.eventId >= 0 && static_cast<std::size_t>(head.eventId) < eventMap.size();
  eventIndex = known ? eventMap[static_cast<std::size_t>(head.eventId)] : -1;
}

std::uint64_t LegacyEventSample::getBoundSize() const {
  if (eventIndex < 0) return 0;
  // Recorded arguments in excess are dropped; missing ones leave the library's value as it was.
  return std::min<std::uint64_t>(argCount, apiArgs[static_cast<std::size_t>(eventIndex)].size());
}

std::int32_t LegacyEventSample::updateRegEntries() {
  // The reader calls this only for a known API, so the position is valid here.
  const std::vector<DataEntryBase*>& arguments = apiArgs[static_cast<std::size_t>(eventIndex)];
  for (std::size_t j = 0; j < getBoundSize(); ++j) {
    arguments[j]->fromRecord((*this)[getHeaderSize() + j]);
  }
  return eventIndex;
}
