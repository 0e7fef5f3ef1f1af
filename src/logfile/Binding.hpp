#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "logfile/LegacyHeader.hpp"
#include "registry/DataRegistry.hpp"

/// What of a legacy log finds its place in a registry, and what does not: plain values, so that a program
/// can ask whether logs fit a library without running anything. Entries are borrowed from the registry.

/// The columns of a continuous log beside the entries of the sensor registry.
struct ColumnBinding {
  std::vector<DataEntryBase*> entries;     ///< one per column: the entry of its name, or null
  std::vector<std::string> notInFile;      ///< entries without a column, which keep their value
  std::vector<std::string> notRegistered;  ///< columns without an entry, which nothing takes
};

ColumnBinding bindColumns(const std::vector<std::string>& columns, const DataRegistry& registry);

/// An argument whose name is not the same in the log and in the library; it is bound all the same.
struct ArgumentDifference {
  std::size_t position;
  std::string inFile;
  std::string inLibrary;
};

/// One API of an event log beside the library's API of that name.
struct ApiBinding {
  std::string name;
  std::int32_t position = -1;  ///< in the event registry's `entryList`; -1: the library has no such API
  std::vector<ArgumentDifference> differences;
  std::size_t argumentsInFile = 0;
  std::size_t argumentsInLibrary = 0;
};

/// An API of the library, as its entries name it.
struct LibraryApi {
  std::string name;
  std::vector<std::string> arguments;  ///< in the order in which they take the recorded values
};

/// The library's APIs, by their position in the event registry's `entryList`.
std::vector<LibraryApi> libraryApis(const DataRegistry& registry);

/// The APIs of an event log beside the library's, by event id.
std::vector<ApiBinding> bindApis(const LegacyFormat& format, const std::vector<LibraryApi>& library);

/// The APIs of an event log beside those of the event registry. Arguments are bound by position.
struct EventBinding {
  std::vector<ApiBinding> apis;  ///< by event id
  /// By position in the registry's `entryList`: the API's argument entries, in the order in which they take
  /// the recorded values.
  std::vector<std::vector<DataEntryBase*>> arguments;
};

EventBinding bindEvents(const LegacyFormat& format, const DataRegistry& registry);
