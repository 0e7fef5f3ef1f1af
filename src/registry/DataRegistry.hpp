#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "registry/DataEntry.hpp"
#include "registry/NameUtils.hpp"

/// A named, ordered set of entries, through which readers reach the fields of records by name or position.
///
/// Open while records register their fields, closed by freeze(), read afterwards. It owns its entries; the
/// records that they point into must outlive it. Single-threaded.
///
/// The flight-control library registers its API inputs here and keeps registries of its own: members, their
/// order and the absence of virtual operations are an interface with it.
class DataRegistry {
 public:
  explicit DataRegistry(std::string registryName = {});
  DataRegistry(const DataRegistry&) = delete;
  DataRegistry& operator=(const DataRegistry&) = delete;
  /// Destroys every entry, in name order.
  ~DataRegistry();

  /// Registers `field` under join(registry name, entryName), with a line at debug priority. The first
  /// registration of a name wins; a later one is dropped. Does nothing once the registry is frozen.
  template <class T>
  void reg(const std::string& entryName, T* field);

  /// Fixes `entryList` and closes the registry; called by whoever first reads it. Does nothing when called
  /// again.
  void freeze();

  std::string name;                               ///< put in front of every entry name; may be empty
  std::map<std::string, DataEntryBase*> entries;  ///< full name to entry; owns the entries
  std::vector<DataEntryBase*> entryList;          ///< the entries in name order; filled by freeze()
  bool frozen = false;                            ///< set by freeze(): registration is refused

 private:
  void logRegistration(const std::string& fullName) const;
};

template <class T>
void DataRegistry::reg(const std::string& entryName, T* field) {
  if (frozen) return;
  const std::string fullName = Ostrel::Utils::join(name, entryName);
  // `entries` owns bare pointers because the library walks this same map. Until the map has accepted the
  // entry the unique_ptr owns it, and drops it when the name is taken.
  auto entry = std::make_unique<DataEntry<T>>(fullName, field);
  if (entries.emplace(fullName, entry.get()).second) static_cast<void>(entry.release());
  logRegistration(fullName);
}
