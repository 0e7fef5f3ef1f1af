#include "registry/DataEntry.hpp"

#include <syslog.h>

#include <cstddef>

#include "registry/LogTag.hpp"

template <class T>
int DataEntry<T>::registerToTlm(telemetry::Producer& producer) {
  log_print(LOG_TAG, LOG_DEBUG, "Registering %s into telemetry", name.c_str());
  // One element, no flags, and no time stamps of its own: those of the section's samples count.
  return producer.regInternal(ptr, producer.section, name, entryTypeNames<T>.tlmType, sizeof(T), 1, 0,
                              nullptr, 1);
}

// The types that an entry can have. Each needs its registerToTlm(), which only this file defines.
template class DataEntry<bool>;
template class DataEntry<float>;
template class DataEntry<double>;
template class DataEntry<short>;
template class DataEntry<int>;
template class DataEntry<long>;
template class DataEntry<unsigned char>;
template class DataEntry<unsigned short>;
template class DataEntry<unsigned int>;
template class DataEntry<unsigned long>;
template class DataEntry<FOLLOW_ME_TRAJECTORY_TYPE>;

// The entries cross the border to the flight-control library in both directions, so every offset is an
// interface. The classes are polymorphic, for which offsetof is only conditionally supported: our compilers
// do.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(sizeof(DataEntryBase) == 48 && offsetof(DataEntryBase, type) == 40);
// The same for every T, as each has an address alone behind the base.
static_assert(sizeof(DataEntry<bool>) == 56 && offsetof(DataEntry<bool>, ptr) == 48);
#pragma GCC diagnostic pop
