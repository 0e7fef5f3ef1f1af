// Stands in for a flight-control library that crashes, hangs or ends the process while it is loaded, as the
// environment variable BAD_LIBRARY says. Otherwise it works, but has every function from another library.

#include <unistd.h>

#include <cstdlib>
#include <string>

[[gnu::constructor]] static void load() {
  const char* wanted = std::getenv("BAD_LIBRARY");
  const std::string how = wanted == nullptr ? "" : wanted;
  if (how == "crash") std::abort();
  if (how == "hang") pause();
  if (how == "exit") _exit(0);
}
