#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

#include "ostrelLog/Output.hpp"

namespace logtool {

/// A simulated flight that is to be written as a pair of legacy logs.
struct FlightOptions {
  std::string name;        ///< path of the two logs, without their endings
  double seconds = 30.0;   ///< more than 0, at most 100 hours
  int rate = 200;          ///< steps a second, 1 to 10000
  std::uint64_t seed = 1;  ///< any number; the same one gives the same bytes
  std::string variant = "quad-x";
};

/// What was written.
struct MadeFlight {
  std::string samplesFile;
  std::string callsFile;
  int steps;  ///< each of them is one sample
  std::size_t columns;
  std::size_t calls;
};

/// What is wrong with the options, as text that begins with the option's name; empty when nothing is.
std::string optionsFault(const FlightOptions& options);

/// Writes a simulated flight as NAME.cont (the samples of all sensors, one record a step) and NAME.events
/// (the API calls). The options must have passed optionsFault(). Memory does not grow with the flight's
/// length.
///
/// Both logs appear under their names only when both are whole; until then, and after a failure to write,
/// what stood there before stays as it was.
std::variant<MadeFlight, Fault> makeFlight(const FlightOptions& options);

}  // namespace logtool
