// Loads the flight-control library as a replay does and says what it offers: ostrelLibrary DESCRIPTOR, a
// private program of `ostrelLog check`. Linked like ostrelReplay, so that the loader finds the same
// library.

#include <dlfcn.h>
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

/// The path of the library that the loader has taken.
std::string libraryFile() {
  Dl_info library = {};
  void* const function = dlsym(RTLD_DEFAULT, "OSTREL_process");
  if (function == nullptr || dladdr(function, &library) == 0) return "";
  return library.dli_fname;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return EXIT_FAILURE;
  const int descriptor = std::atoi(argv[1]);
  const auto tell = [descriptor](const char* word, const std::string& text) {
    dprintf(descriptor, "%s %s\n", word, text.c_str());
  };

  tell(LibraryAnswer::PATH, libraryFile());
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
