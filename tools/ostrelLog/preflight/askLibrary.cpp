// Loads the flight-control library as a replay does and says what it offers: ostrelLibrary DESCRIPTOR, a
// private program of `ostrelLog check`. Linked with all that ostrelReplay is made of, so that the loader
// finds the same library and refuses one that lacks a function.

#include <link.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "logfile/Binding.hpp"
#include "ostrel/api_input.hpp"
#include "ostrelLog/preflight/LibraryAnswer.hpp"
#include "replay/CommandLineArgs.hpp"
#include "sysprop/sys_prop.h"

namespace {

/// Goes on until `path`, a string, is that of the flight-control library. By the name of the file and not
/// by its functions, which may come from a further library that it needs.
int findLibrary(dl_phdr_info* loaded, std::size_t /*size*/, void* path) {
  const std::filesystem::path file = loaded->dlpi_name;
  if (file.filename().string().rfind("libostrel.so", 0) != 0) return 0;
  *static_cast<std::string*>(path) = file.string();
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return EXIT_FAILURE;
  const int descriptor = std::atoi(argv[1]);
  const auto tell = [descriptor](const char* word, const std::string& text) {
    dprintf(descriptor, "%s %s%c", word, text.c_str(), '\0');
  };

  std::string library;
  if (dl_iterate_phdr(findLibrary, &library) != 0) tell(LibraryAnswer::PATH, library);
  // Without leave to make calls: the inputs only describe the API.
  Api::Input inputs(false);
  DataRegistry registry;
  for (Api::InputBase* input : inputs) input->registerArgs(registry);
  registry.freeze();
  for (const LibraryApi& api : libraryApis(registry)) {
    tell(LibraryAnswer::API, api.name);
    for (const std::string& argument : api.arguments) tell(LibraryAnswer::ARGUMENT, argument);
  }

  char property[SYS_PROP_VALUE_MAX] = {};
  // As a replay does it: only an empty property counts as no variant.
  if (sys_prop_get("ro.hardware", property, "") != 0) tell(LibraryAnswer::HARDWARE, property);
  if (sys_prop_get("persist.running-mode", property, "default") < 0) tell(LibraryAnswer::NO_MODE, "");
  const std::string configuration = configurationDirectory("");
  if (!std::filesystem::is_directory(configuration)) {
    tell(LibraryAnswer::NO_CONFIGURATION, configuration);
  }
  tell(LibraryAnswer::END, "");
  // The answer is complete. How the library ends is no matter of a replay that has not begun.
  _exit(EXIT_SUCCESS);
}
