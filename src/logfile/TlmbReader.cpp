#include "logfile/TlmbReader.hpp"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "logfile/ErrorText.hpp"
#include "logservice/log.h"
#include "registry/LogTag.hpp"

namespace {

/// How many section names are kept for the warning: a log may describe any number of sections.
constexpr std::size_t MAX_SECTION_NAMES = 32;

/// The name of the section to replay.
std::string wantedSection() {
  const char* name = std::getenv("TLMB_SECTION_NAME");
  return name == nullptr ? "navdata" : name;
}

/// The address of the field behind an entry, or null when the entry is not a DataEntry<T>.
template <class T>
void* boundField(DataEntryBase* entry) {
  const auto* typed = dynamic_cast<DataEntry<T>*>(entry);
  return typed == nullptr ? nullptr : typed->ptr;
}

}  // namespace

TlmbReader* TlmbReader::create(DataRegistry* registry) {
  return new TlmbReaderImpl(registry);
}

TlmbReaderImpl::TlmbReaderImpl(DataRegistry* targetRegistry)
    : registry(targetRegistry),
      blackbox(telemetry::BlackboxReaderItf::create(this)),
      sectionName(wantedSection()) {}

TlmbReaderImpl::~TlmbReaderImpl() {
  // Before the members that its callbacks use, which are declared behind it: a telemetry library may
  // deliver a last sample while it is destroyed.
  blackbox.reset();
}

int TlmbReaderImpl::open(const char* logPath) {
  path = logPath;
  const int result = blackbox ? blackbox->open(path) : -ENODEV;
  if (result < 0) {
    log_print(LOG_TAG, LOG_ERR, "Unable to open '%s': err=%d(%s)", logPath, result, errorText(result));
  }
  return result;
}

int TlmbReaderImpl::close() {
  if (blackbox) blackbox->close();
  return 0;
}

int TlmbReaderImpl::popSample() {
  if (!blackbox) return -ENODEV;
  sampleDone = false;
  int result = 0;
  // A step of the telemetry library is one block of the log, and blocks of other sections come between.
  while (result == 0 && !sampleDone) result = blackbox->step();
  if (result != -ENOENT) return result;
  // An end without an adopted section usually means a wrong TLMB_SECTION_NAME, so the names help.
  // popSample() reaches the end again each time that it is called.
  if (!adopted && !std::exchange(warned, true)) tellMissingSection();
  return -ENODATA;
}

int TlmbReaderImpl::popSample(int /*index*/, std::vector<int>& /*events*/) {
  return -ENOSYS;
}

void TlmbReaderImpl::fileHeader(const std::map<std::string, std::string>& header) {
  const auto found = header.find("ro.hardware");
  if (found != header.end()) droneVariant = found->second;
}

void TlmbReaderImpl::sectionAdded(unsigned int /*id*/) {}

void TlmbReaderImpl::sectionRemoved(unsigned int /*id*/) {}

void TlmbReaderImpl::sampleBegin(unsigned int /*id*/, const timespec* /*time*/, const void* /*bytes*/,
                                 std::size_t /*size*/) {}

void TlmbReaderImpl::sectionChanged(unsigned int id, const void* description, std::size_t size) {
  if (!blackbox) return;  // it is being deleted, and nothing will be read any more
  const std::string& name = blackbox->sectionNameOf(id, description, size);
  // A section may change in the middle of a log; it is then mapped again.
  if (name == sectionName) doMapping(id);
  if (sectionNames.size() < MAX_SECTION_NAMES) sectionNames.insert(name);
}

void TlmbReaderImpl::sample(unsigned int id, const timespec* /*time*/, unsigned int index,
                            const telemetry::VarDesc& /*descriptor*/, const void* bytes, std::size_t size) {
  if (!isReplayed(id)) return;
  // Variables that no entry wants have no place in the plan.
  if (index >= copies.size() || copies[index].address == nullptr) return;
  const PlannedCopy& copy = copies[index];
  const std::size_t fitting =
      std::min(size, copy.width);  // a damaged log may carry more than the field has
  switch (fitting) {
    // Most fields, by far: a width that the compiler knows makes a copy a single move.
    case 4: std::memcpy(copy.address, bytes, 4); break;
    case 8: std::memcpy(copy.address, bytes, 8); break;
    default: std::memcpy(copy.address, bytes, fitting); break;
  }
}

void TlmbReaderImpl::sampleEnd(unsigned int id) {
  if (isReplayed(id)) sampleDone = true;
}

/// Plans the copying of a section's variables and adopts the section when they fill every entry of the
/// registry: 0, or -EINVAL. What was planned stays planned either way.
int TlmbReaderImpl::doMapping(unsigned int section) {
  std::set<DataEntryBase*> unfilled(registry->entryList.begin(), registry->entryList.end());
  const std::uint32_t variables = blackbox->varCount(section);
  for (std::uint32_t index = 0; index < variables; ++index) {
    const int result = planVariable(index, blackbox->varDesc(section, index), unfilled);
    if (result < 0) return result;
  }
  log_print(LOG_TAG, LOG_DEBUG, "%zu == %zu", copyPlan.size(), registry->entryList.size());
  if (unfilled.empty()) {
    sectionId = section;
    adopted = true;
    return 0;
  }
  tellUnfilled(unfilled);
  return -EINVAL;
}

/// Plans one variable if an entry wants it and takes that entry out of `unfilled`. Negative: the whole
/// mapping has failed.
int TlmbReaderImpl::planVariable(std::uint32_t index, const telemetry::VarDesc& variable,
                                 std::set<DataEntryBase*>& unfilled) {
  const auto found = registry->entries.find(variable.name);
  if (found == registry->entries.end()) return 0;
  DataEntryBase* entry = found->second;
  // Entries are scalars; arrays are recorded as one variable for each element.
  if (variable.count > 1) {
    tellArray();
    return -EINVAL;
  }
  if (!typesMatch(entry->type, variable.type)) {
    tellOtherType(variable, entry->type);
    return 0;
  }
  // Before the address is known: an entry that can't be filled fails the mapping anyway.
  unfilled.erase(entry);
  void* address = getDataEntryPtr(entry);
  if (address == nullptr) {
    log_print(LOG_TAG, LOG_WARNING, "Failed to find base type for var %s (bboxtype=%d)",
              variable.name.c_str(), static_cast<int>(entry->type));
    return -EINVAL;
  }
  log_print(LOG_TAG, LOG_DEBUG, "Push %s in copy", variable.name.c_str());
  // Of two descriptions for one position the first is kept. `copies` has the same content by position,
  // since a search in the map for each value of each sample would be slow.
  if (copyPlan.emplace(index, address).second) {
    if (index >= copies.size()) copies.resize(std::size_t{index} + 1);
    copies[index] = {address, fieldWidth(entry->type)};
  }
  return 0;
}

void TlmbReaderImpl::tellArray() {
  log_print(LOG_TAG, LOG_ERR, "Variables with count > 1 not supported");
}

void TlmbReaderImpl::tellOtherType(const telemetry::VarDesc& variable, Types entryType) {
  log_print(LOG_TAG, LOG_WARNING, "var %s type mismatch (bbox=%d, tlmb=%d)", variable.name.c_str(),
            static_cast<int>(entryType), static_cast<int>(variable.type));
}

void TlmbReaderImpl::tellUnfilled(const std::set<DataEntryBase*>& unfilled) {
  log_print(LOG_TAG, LOG_WARNING, "The following entries have not been filled");
  for (DataEntryBase* entry : registry->entryList) {
    if (unfilled.count(entry) != 0) log_print(LOG_TAG, LOG_INFO, "   %s", entry->name.c_str());
  }
}

void TlmbReaderImpl::tellMissingSection() {
  std::string seen;
  for (const std::string& name : sectionNames) seen += (seen.empty() ? "" : ", ") + name;
  log_print(LOG_TAG, LOG_WARNING, "No section named '%s' matched in %s, sections seen : %s",
            sectionName.c_str(), path.c_str(), seen.empty() ? "none" : seen.c_str());
}

/// Whether a recorded variable can be copied into an entry as it is: nothing is converted.
bool TlmbReaderImpl::typesMatch(Types type, tlm_var_type tlmType) {
  switch (tlmType) {
    case TLM_VAR_BOOL: return type == TYPES_BOOL;
    case TLM_VAR_UINT8: return type == TYPES_UINT8;
    case TLM_VAR_UINT16: return type == TYPES_UINT16;
    case TLM_VAR_INT16: return type == TYPES_INT16;
    case TLM_VAR_UINT32: return type == TYPES_UINT32;
    case TLM_VAR_INT32: return type == TYPES_INT32;
    case TLM_VAR_UINT64: return type == TYPES_UINT64;
    case TLM_VAR_INT64: return type == TYPES_INT64;
    case TLM_VAR_FLOAT: return type == TYPES_FLOAT;
    case TLM_VAR_DOUBLE: return type == TYPES_DOUBLE;
    // 8-bit signed integers among them: no entry has that type.
    default: return false;
  }
}

/// The field that an entry is bound to; null when the entry is not of the class that its type names.
void* TlmbReaderImpl::getDataEntryPtr(DataEntryBase* entry) {
  switch (entry->type) {
    case TYPES_BOOL: return boundField<bool>(entry);
    case TYPES_FLOAT: return boundField<float>(entry);
    case TYPES_DOUBLE: return boundField<double>(entry);
    case TYPES_INT16: return boundField<short>(entry);
    case TYPES_INT32: return boundField<int>(entry);
    case TYPES_INT64: return boundField<long>(entry);
    case TYPES_UINT8: return boundField<unsigned char>(entry);
    case TYPES_UINT16: return boundField<unsigned short>(entry);
    case TYPES_UINT32: return boundField<unsigned int>(entry);
    case TYPES_UINT64: return boundField<unsigned long>(entry);
    case TYPES_FOLLOW_ME_TRAJECTORY: return boundField<FOLLOW_ME_TRAJECTORY_TYPE>(entry);
    default: return nullptr;
  }
}

/// The width in bytes of a field of this type, which has a class.
std::size_t TlmbReaderImpl::fieldWidth(Types type) {
  switch (type) {
    case TYPES_BOOL:
    case TYPES_UINT8: return 1;
    case TYPES_INT16:
    case TYPES_UINT16: return 2;
    case TYPES_DOUBLE:
    case TYPES_INT64:
    case TYPES_UINT64: return 8;
    // The 32-bit types, and the enumeration of trajectories, which is as wide.
    default: return 4;
  }
}
