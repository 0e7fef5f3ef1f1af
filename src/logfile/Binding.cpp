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
                   const std::vector<LibraryApi>& library) {
  ApiBinding api;
  api.name = name;
  const auto found = std::find_if(library.begin(), library.end(),
                                  [&name](const LibraryApi& known) { return known.name == name; });
  if (found == library.end()) return api;

  // The position in `entryList` is the number by which the replay knows an API input.
  api.position = static_cast<std::int32_t>(found - library.begin());
  const std::vector<std::string>& namesInLibrary = found->arguments;
  api.argumentsInFile = namesInFile.size();
  api.argumentsInLibrary = namesInLibrary.size();
  // Only what both sides have is compared by name; a surplus shows in the two counts.
  for (std::size_t j = 0; j < std::min(namesInFile.size(), namesInLibrary.size()); ++j) {
    if (namesInLibrary[j] != namesInFile[j]) {
      api.differences.push_back({j, namesInFile[j], namesInLibrary[j]});
    }
  }
  return api;
}

}  // namespace

std::vector<LibraryApi> libraryApis(const DataRegistry& registry) {
  std::vector<LibraryApi> library;
  for (const DataEntryBase* apiEntry : registry.entryList) {
    LibraryApi& api = library.emplace_back(LibraryApi{apiEntry->name, {}});
    for (const DataEntryBase* argument : argumentEntries(*apiEntry))
      api.arguments.push_back(argument->name);
  }
  return library;
}

std::vector<ApiBinding> bindApis(const LegacyFormat& format, const std::vector<LibraryApi>& library) {
  std::vector<ApiBinding> apis;
  const std::vector<std::string>& names = format.getEntries();
  for (std::size_t id = 0; id < names.size(); ++id) {
    apis.push_back(bindApi(names[id], format.getSubEntries(static_cast<int>(id)), library));
  }
  return apis;
}

EventBinding bindEvents(const LegacyFormat& format, const DataRegistry& registry) {
  EventBinding binding;
  // For all APIs of the library, by position, also those that the log does not call.
  for (const DataEntryBase* apiEntry : registry.entryList)
    binding.arguments.push_back(argumentEntries(*apiEntry));
  binding.apis = bindApis(format, libraryApis(registry));
  return binding;
}
