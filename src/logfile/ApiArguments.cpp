#include "logfile/ApiArguments.hpp"

#include <cstddef>
#include <cstring>

namespace {

/// The address that an entry is bound to, whatever its type.
///
/// The library made the entry, from its own build of these classes and under a type that means nothing: a
/// downcast could fail or lie. But the bound address lies at one place in every DataEntry<T>, right behind
/// the base (the build and a test check it), so it is read there.
const std::byte* boundAddress(const DataEntryBase& entry) {
  const std::byte* address = nullptr;
  std::memcpy(&address, reinterpret_cast<const std::byte*>(&entry) + sizeof(DataEntryBase),
              sizeof(address));
  return address;
}

}  // namespace

const DataRegistry* argumentRegistry(const DataEntryBase& apiEntry) {
  const std::byte* link = boundAddress(apiEntry);
  if (link == nullptr) return nullptr;
  // The bound object is the library's; its second pointer-sized field points to the argument registry.
  const DataRegistry* arguments = nullptr;
  std::memcpy(&arguments, link + sizeof(void*), sizeof(void*));
  return arguments;
}

std::vector<DataEntryBase*> argumentEntries(const DataEntryBase& apiEntry) {
  const DataRegistry* arguments = argumentRegistry(apiEntry);
  return arguments != nullptr ? arguments->entryList : std::vector<DataEntryBase*>();
}
