#include "logfile/Binding.hpp"

#include <algorithm>
#include <set>

#include "logfile/ApiArguments.hpp"

ColumnBinding bindColumns(const std::vector<std::string>& columns, const DataRegistry& registry) {
  ColumnBinding binding;
  std::set<const DataEntryBase*> bound;
  for (const std::string& column : columns) {
    const auto found = registry.entries.find(column);
    if (found == registry.entries.end()) {
      // A place is kept for every column, since a record has a value for it too.
      binding.entries.push_back(nullptr);
      binding.notRegistered.push_back(column);
    } else {
      binding.entries.push_back(found->second);
      // Two columns of one name both go to its entry, which then counts once.
      bound.insert(found->second);
    }
  }
  for (const auto& [name, entry] : registry.entries) {
    if (bound.count(entry) == 0) binding.notInFile.push_back(name);
  }
  return binding;
}

namespace {

/// Binds one API of the log by its name, and compares its arguments with the library's.
ApiBinding bindApi(const std::string& name, const std::vector<std::string>& namesInFile,
                   const std::vector<std::vector<DataEntryBase*>>& libraryArguments,
                   const DataRegistry& registry) {
  ApiBinding api;
  api.name = name;
  const auto first = registry.entryList.begin();
  const auto last = registry.entryList.end();
  const auto found =
      std::find_if(first, last, [&name](const DataEntryBase* entry) { return entry->name == name; });
  if (found == last) return api;

  // The position in `entryList` is the number by which the replay knows an API input.
  api.position = static_cast<std::int32_t>(found - first);
  const std::vector<DataEntryBase*>& entries = libraryArguments[static_cast<std::size_t>(api.position)];
  api.argumentsInFile = namesInFile.size();
  api.argumentsInLibrary = entries.size();
  // Only what both sides have is compared by name; a surplus shows in the two counts.
  for (std::size_t j = 0; j < std::min(namesInFile.size(), entries.size()); ++j) {
    if (entries[j]->name != namesInFile[j]) {
      api.differences.push_back({j, namesInFile[j], entries[j]->name});
    }
  }
  return api;
}

}  // namespace

EventBinding bindEvents(const LegacyFormat& format, const DataRegistry& registry) {
  EventBinding binding;
  // For all APIs of the library, by position, also those that the log does not call.
  for (const DataEntryBase* apiEntry : registry.entryList)
    binding.arguments.push_back(argumentEntries(*apiEntry));
  const std::vector<std::string>& apis = format.getEntries();
  for (std::size_t id = 0; id < apis.size(); ++id) {
    binding.apis.push_back(
        bindApi(apis[id], format.getSubEntries(static_cast<int>(id)), binding.arguments, registry));
  }
  return binding;
}
