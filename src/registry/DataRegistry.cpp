#include "registry/DataRegistry.hpp"

#include <syslog.h>

#include <cstddef>
#include <type_traits>
#include <utility>

#include "registry/LogTag.hpp"

// The flight-control library reads and writes these members directly. The standard containers make offsetof
// only conditionally supported here: our compilers do.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(!std::is_polymorphic_v<DataRegistry>);
static_assert(offsetof(DataRegistry, entries) == 32 && offsetof(DataRegistry, entryList) == 80);
static_assert(sizeof(DataRegistry) == 112 && offsetof(DataRegistry, frozen) == 104);
#pragma GCC diagnostic pop

DataRegistry::DataRegistry(std::string registryName) : name(std::move(registryName)) {}

DataRegistry::~DataRegistry() {
  // The map owns its entries through bare pointers, because the library walks this same map.
  for (const auto& [fullName, entry] : entries) delete entry;
}

void DataRegistry::freeze() {
  // Freezing twice must not list the entries twice.
  if (frozen) return;
  frozen = true;
  entryList.reserve(entries.size());
  // In name order. Readers report API calls by these positions.
  for (const auto& [fullName, entry] : entries) entryList.push_back(entry);
}

void DataRegistry::logRegistration(const std::string& fullName) const {
  if (name.empty()) {
    log_print(LOG_TAG, LOG_DEBUG, "New registry entry in un-named registry: %s", fullName.c_str());
  } else {
    log_print(LOG_TAG, LOG_DEBUG, "New registry entry in %s : %s", name.c_str(), fullName.c_str());
  }
}
