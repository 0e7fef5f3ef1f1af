#include <algorithm>
#include <cerrno>
#include <cstring>

#include "telemetry/producer.hpp"

namespace telemetry::internal {

int Registrator::regInternal(void* address, const std::string& /*section*/, const std::string& name,
                             tlm_var_type type, unsigned long elementBytes, unsigned long count,
                             unsigned int /*flags*/, timespec* /*timestamp*/,
                             unsigned long /*timestampCount*/) {
  if (address == nullptr || name.empty() || elementBytes == 0 || count == 0) return -EINVAL;
  const auto sameName = [&name](const Variable& variable) { return variable.name == name; };
  if (std::any_of(registered.begin(), registered.end(), sameName)) return -EEXIST;
  registered.push_back({{name, type, count, elementBytes}, address});
  const std::size_t bytes = elementBytes * count;
  totalBytes += bytes;
  const auto* const first = static_cast<const unsigned char*>(address);
  // Variables that are neighbours in memory are copied as one run, because every step packs a sample.
  if (!runs.empty() && runs.back().first + runs.back().bytes == first) {
    runs.back().bytes += bytes;
  } else {
    runs.push_back({first, bytes});
  }
  return 0;
}

void Registrator::pack(void* sample) const {
  auto* out = static_cast<unsigned char*>(sample);
  for (const Run& run : runs) {
    // In the order of registration, which is the order in which the section describes them.
    std::memcpy(out, run.first, run.bytes);
    out += run.bytes;
  }
}

}  // namespace telemetry::internal
