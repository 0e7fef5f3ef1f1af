#include "logfile/LegacySample.hpp"

#include <syslog.h>

#include <algorithm>
#include <type_traits>
#include <typeinfo>
#include <unordered_set>

#include "logfile/ApiArguments.hpp"
#include "logservice/log.h"
#include "registry/LogTag.hpp"

LegacySample::LegacySample(const LegacyFormat& logFormat)
    : size(logFormat.getEntries().size()), format(&logFormat) {
  reserve(size);  // so that reading records allocates nothing
}

std::int32_t LegacyContinuousSample::buildList(const DataRegistry& registry) {
  const std::vector<std::string>& titles = format->getEntries();
  std::vector<const std::string*> notRegistered;
  std::unordered_set<const DataEntryBase*> bound;
  for (std::size_t column = 0; column < titles.size(); ++column) {
    const auto found = registry.entries.find(titles[column]);
    if (found == registry.entries.end()) {
      notRegistered.push_back(&titles[column]);
    } else {
      planColumn(column, found->second);
      bound.insert(found->second);
    }
  }

  std::vector<const std::string*> notInFile;
  for (const auto& [name, entry] : registry.entries) {
    if (bound.count(entry) == 0) notInFile.push_back(&name);
  }
  if (!notInFile.empty()) {
    log_print(LOG_TAG, LOG_WARNING, "%zu registered entries not found in file :", notInFile.size());
    for (const std::string* name : notInFile) log_print(LOG_TAG, LOG_WARNING, "    %s", name->c_str());
  }
  if (!notRegistered.empty()) {
    log_print(LOG_TAG, LOG_INFO, "%zu entries found in file but not registered to", notRegistered.size());
    for (const std::string* name : notRegistered) log_print(LOG_TAG, LOG_DEBUG, "    %s", name->c_str());
  }
  return 0;
}

void LegacyContinuousSample::planColumn(std::size_t column, DataEntryBase* entry) {
  const auto planFirstFitting = [&](auto&... lists) { return (planField(lists, column, entry) || ...); };
  if (!std::apply(planFirstFitting, fields)) columnEntries.push_back({entry, column});
}

/// Plans the column for the list of its field's type, unless the entry is of another class.
template <class T>
bool LegacyContinuousSample::planField(BoundColumns<T>& list, std::size_t column, DataEntryBase* entry) {
  if (typeid(*entry) != typeid(DataEntry<T>)) return false;
  list.push_back({static_cast<DataEntry<T>*>(entry)->ptr, column});
  return true;
}

std::int32_t LegacyContinuousSample::updateRegEntries() {
  double* values = data();
  const auto store = [values](const auto& list) {
    for (const auto& [field, column] : list) {
      *field = fieldFromRecord<std::remove_pointer_t<decltype(field)>>(values[column]);
    }
  };
  std::apply([&store](const auto&... lists) { (store(lists), ...); }, fields);
  for (const auto& [entry, column] : columnEntries) entry->fromRecord(values[column]);
  return 0;
}

std::int32_t LegacyEventSample::buildList(const DataRegistry& registry) {
  for (const DataEntryBase* apiEntry : registry.entryList) {
    const DataRegistry* arguments = argumentRegistry(*apiEntry);
    apiArgs.push_back(arguments == nullptr ? std::vector<DataEntryBase*>{} : arguments->entryList);
  }
  const std::vector<std::string>& apis = format->getEntries();
  for (std::size_t id = 0; id < apis.size(); ++id) {
    const std::int32_t position = bindApi(registry, apis[id]);
    eventMap.push_back(position);
    if (position >= 0) {
      reportArguments(apis[id], format->getSubEntries(static_cast<int>(id)),
                      apiArgs[static_cast<std::size_t>(position)]);
    }
  }
  return 0;
}

std::int32_t LegacyEventSample::bindApi(const DataRegistry& registry, const std::string& api) const {
  const auto first = registry.entryList.begin();
  const auto last = registry.entryList.end();
  const auto found =
      std::find_if(first, last, [&api](const DataEntryBase* entry) { return entry->name == api; });
  if (found == last) {
    log_print(LOG_TAG, LOG_INFO,
              "API named %s in log file wasn't found in libOstrel.so, if any, calls will be ignored",
              api.c_str());
    return -1;
  }
  return static_cast<std::int32_t>(found - first);
}

void LegacyEventSample::reportArguments(const std::string& api, const std::vector<std::string>& fileNames,
                                        const std::vector<DataEntryBase*>& libraryEntries) const {
  for (std::size_t j = 0; j < std::min(fileNames.size(), libraryEntries.size()); ++j) {
    if (libraryEntries[j]->name != fileNames[j]) {
      log_print(LOG_TAG, LOG_ERR,
                "API %s arg number %zu name differs between log file (%s) and libostrel.so (%s)",
                api.c_str(), j, fileNames[j].c_str(), libraryEntries[j]->name.c_str());
    }
  }
  if (fileNames.size() != libraryEntries.size()) {
    log_print(
        LOG_TAG, LOG_ERR,
        "API %s in log file has a different number (%zu) of argsthan was found in libOstrel (%zu), args in "
        "excess will be ignored.",
        api.c_str(), fileNames.size(), libraryEntries.size());
  }
}

void LegacyEventSample::readHeader() {
  size = truncateToUnsigned64((*this)[0]);
  index = truncateTo<std::int32_t>((*this)[1]);
  const std::int32_t id = truncateTo<std::int32_t>((*this)[2]);
  const bool known = id >= 0 && static_cast<std::size_t>(id) < eventMap.size();
  eventIndex = known ? eventMap[static_cast<std::size_t>(id)] : -1;
  argCount = size / sizeof(double) - getHeaderSize();
}

std::uint64_t LegacyEventSample::getBoundSize() const {
  if (eventIndex < 0) return 0;
  return std::min<std::uint64_t>(argCount, apiArgs[static_cast<std::size_t>(eventIndex)].size());
}

std::int32_t LegacyEventSample::updateRegEntries() {
  const std::vector<DataEntryBase*>& arguments = apiArgs[static_cast<std::size_t>(eventIndex)];
  for (std::size_t j = 0; j < getBoundSize(); ++j) {
    arguments[j]->fromRecord((*this)[getHeaderSize() + j]);
  }
  return eventIndex;
}
