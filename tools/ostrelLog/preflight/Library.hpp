#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "logfile/Binding.hpp"
#include "ostrelLog/Output.hpp"

namespace logtool {

/// What a replay finds that is started here and now: the flight-control library and the system around it.
struct Library {
  std::string file;                     ///< as the loader found it
  std::vector<LibraryApi> apis;         ///< in the order of a replay's registry
  std::optional<std::string> hardware;  ///< the property "ro.hardware", where it names a variant
  std::vector<Fault> obstacles;         ///< why a replay would refuse to start, whatever its logs
};

/// How long the library may take to load and to answer.
constexpr std::chrono::seconds LIBRARY_PATIENCE{30};

/// Asks the flight-control library what it offers. That is done in a process of its own, so that a library
/// that crashes or hangs while it is loaded is a fault and no more.
///
/// The library is the one that a replay would load; one in `directory` comes first, and unless `directory`
/// is empty it must be there. The program that asks is installed with this one (see LibraryAnswer.hpp).
std::variant<Library, Fault> askLibrary(const std::string& directory,
                                        std::chrono::milliseconds patience = LIBRARY_PATIENCE);

}  // namespace logtool
