#include "logfile/ErrorText.hpp"

#include <cstdint>
#include <cstring>

const char* errorText(int result) {
  // The most negative integer has no negation of its own width; it stands for itself.
  return std::strerror(static_cast<int>(-static_cast<std::int64_t>(result)));
}
