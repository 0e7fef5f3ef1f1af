#include "logfile/LoadedLibrary.hpp"

#include <dlfcn.h>

std::string loadedLibrary(void* function) {
  Dl_info info{};
  return dladdr(function, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "unknown";
}
