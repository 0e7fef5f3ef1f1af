#pragma once

#include <string>

/// The path, as the loader took it, of the library that has the function at this address. Libraries can be
/// replaced when a program starts, and one under a wrong file name is silently not used.
std::string loadedLibrary(void* function);
