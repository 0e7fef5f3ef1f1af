#include "registry/NameUtils.hpp"

namespace Ostrel::Utils {

std::string join(std::string prefix, std::string suffix) {
  if (prefix.empty()) return suffix;
  if (suffix.empty()) return prefix;
  return std::move(prefix) + "." + suffix;
}

}  // namespace Ostrel::Utils
