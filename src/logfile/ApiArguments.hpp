#pragma once

#include <vector>

#include "registry/DataRegistry.hpp"

/// The argument registry of the API whose entry the flight-control library registered: its entries, in
/// `entryList` order, are bound to the API's argument storage. Owned by the library; null when the library
/// gave none.
const DataRegistry* argumentRegistry(const DataEntryBase& apiEntry);

/// The entries of that registry, in the order in which they take recorded values; none when there is no
/// registry.
std::vector<DataEntryBase*> argumentEntries(const DataEntryBase& apiEntry);
