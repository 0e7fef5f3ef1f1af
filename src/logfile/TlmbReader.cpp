#include "logfile/TlmbReader.hpp"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "logservice/log.h"
#include "registry/LogTag.hpp"

namespace {

/// A log may describe any number of sections; this many names tell what it is.
constexpr std::size_t MAX_SECTION_NAMES = 32;

std::string wantedSection() {
  const char* name = std::getenv("TLMB_SECTION_NAME");
  return name == nullptr ? "navdata" : name;
}

template <class T>
void* boundField(DataEntryBase* entry, std::size_t& width) {
  const auto* typed = dynamic_cast<DataEntry<T>*>(entry);
  width = sizeof(T);
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

int TlmbReaderImpl::open(const char* logPath) {
  path = logPath;
  const int result = blackbox ? blackbox->open(path) : -ENODEV;
  if (result < 0) {
    log_print(LOG_TAG, LOG_ERR, "Unable to open '%s': err=%d(%s)", logPath, result, std::strerror(-result));
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
  while (result == 0 && !sampleDone) result = blackbox->step();
  if (result != -ENOENT) return result;
  if (!adopted) warnOfMissingSection();
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
  const std::string& name = blackbox->sectionNameOf(id, description, size);
  if (name == sectionName) doMapping(id);
  if (sectionNames.size() < MAX_SECTION_NAMES) sectionNames.insert(name);
}

void TlmbReaderImpl::sample(unsigned int id, const timespec* /*time*/, unsigned int index,
                            const telemetry::VarDesc& /*descriptor*/, const void* bytes, std::size_t size) {
  if (!adopted || id != sectionId) return;
  const PlannedCopy* copy = findCopy(index);
  // A damaged log may carry more bytes than the field has.
  if (copy != nullptr) std::memcpy(copy->address, bytes, std::min(size, copy->width));
}

void TlmbReaderImpl::sampleEnd(unsigned int id) {
  if (adopted && id == sectionId) sampleDone = true;
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
  log_print(LOG_TAG, LOG_WARNING, "The following entries have not been filled");
  for (DataEntryBase* entry : registry->entryList) {
    if (unfilled.count(entry) != 0) log_print(LOG_TAG, LOG_INFO, "   %s", entry->name.c_str());
  }
  return -EINVAL;
}

/// Plans one variable if an entry wants it and takes that entry out of `unfilled`. Negative: the whole
/// mapping has failed.
int TlmbReaderImpl::planVariable(std::uint32_t index, const telemetry::VarDesc& variable,
                                 std::set<DataEntryBase*>& unfilled) {
  const auto found = registry->entries.find(variable.name);
  if (found == registry->entries.end()) return 0;
  DataEntryBase* entry = found->second;
  if (variable.count > 1) {
    log_print(LOG_TAG, LOG_ERR, "Variables with count > 1 not supported");
    return -EINVAL;
  }
  if (!typesMatch(entry->type, variable.type)) {
    log_print(LOG_TAG, LOG_WARNING, "var %s type mismatch (bbox=%d, tlmb=%d)", variable.name.c_str(),
              static_cast<int>(entry->type), static_cast<int>(variable.type));
    return 0;
  }
  unfilled.erase(entry);
  std::size_t width = 0;
  void* address = getDataEntryPtr(entry, width);
  if (address == nullptr) {
    log_print(LOG_TAG, LOG_WARNING, "Failed to find base type for var %s (bboxtype=%d)",
              variable.name.c_str(), static_cast<int>(entry->type));
    return -EINVAL;
  }
  log_print(LOG_TAG, LOG_DEBUG, "Push %s in copy", variable.name.c_str());
  planCopy(index, address, width);
  return 0;
}

void TlmbReaderImpl::planCopy(std::uint32_t index, void* address, std::size_t width) {
  if (!copyPlan.emplace(index, address).second) return;
  const auto behind =
      std::upper_bound(copies.begin(), copies.end(), index,
                       [](std::uint32_t key, const PlannedCopy& copy) { return key < copy.index; });
  copies.insert(behind, {index, address, width});
}

/// The planned copy of a variable, null when it has none.
const TlmbReaderImpl::PlannedCopy* TlmbReaderImpl::findCopy(std::uint32_t index) {
  if (nextCopy >= copies.size() || copies[nextCopy].index != index) {
    const auto found =
        std::lower_bound(copies.begin(), copies.end(), index,
                         [](const PlannedCopy& copy, std::uint32_t key) { return copy.index < key; });
    if (found == copies.end() || found->index != index) return nullptr;
    nextCopy = static_cast<std::size_t>(found - copies.begin());
  }
  return &copies[nextCopy++];
}

void TlmbReaderImpl::warnOfMissingSection() {
  if (warned) return;
  warned = true;
  std::string seen;
  for (const std::string& name : sectionNames) seen += (seen.empty() ? "" : ", ") + name;
  log_print(LOG_TAG, LOG_WARNING, "No section named '%s' matched in %s, sections seen : %s",
            sectionName.c_str(), path.c_str(), seen.empty() ? "none" : seen.c_str());
}

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
    default: return false;
  }
}

/// The field that an entry is bound to, and its width in bytes; null when the entry is not of the class
/// that its type names.
void* TlmbReaderImpl::getDataEntryPtr(DataEntryBase* entry, std::size_t& width) {
  switch (entry->type) {
    case TYPES_BOOL: return boundField<bool>(entry, width);
    case TYPES_FLOAT: return boundField<float>(entry, width);
    case TYPES_DOUBLE: return boundField<double>(entry, width);
    case TYPES_INT16: return boundField<short>(entry, width);
    case TYPES_INT32: return boundField<int>(entry, width);
    case TYPES_INT64: return boundField<long>(entry, width);
    case TYPES_UINT8: return boundField<unsigned char>(entry, width);
    case TYPES_UINT16: return boundField<unsigned short>(entry, width);
    case TYPES_UINT32: return boundField<unsigned int>(entry, width);
    case TYPES_UINT64: return boundField<unsigned long>(entry, width);
    case TYPES_FOLLOW_ME_TRAJECTORY: return boundField<FOLLOW_ME_TRAJECTORY_TYPE>(entry, width);
    default: return nullptr;
  }
}
