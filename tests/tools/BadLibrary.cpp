// Stands in for a flight-control library that crashes, hangs or ends the process while it is loaded, as the
// environment variable BAD_LIBRARY says.

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "ostrel/api_input.hpp"

// The one symbol that the loader wants at once.
Api::InputBase::~InputBase() = default;

[[gnu::constructor]] static void load() {
  const char* wanted = std::getenv("BAD_LIBRARY");
  const std::string how = wanted == nullptr ? "" : wanted;
  if (how == "crash") std::abort();
  if (how == "hang") pause();
  _exit(0);
}
