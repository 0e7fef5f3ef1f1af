#include <algorithm>
#include <cerrno>

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
  return 0;
}

}  // namespace telemetry::internal
