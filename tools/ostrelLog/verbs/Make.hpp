#pragma once

#include <cstdint>
#include <string>

/// The flight that `ostrelLog make` is asked for.
struct FlightOptions {
  std::string name;        ///< of the two logs, without their endings
  double seconds = 30.0;   ///< more than 0, at most 100 hours
  int rate = 200;          ///< steps a second, 1 to 10000
  std::uint64_t seed = 1;  ///< any; the same one gives the same bytes
  std::string variant = "quad-x";
};

/// What is wrong with the options, as text that begins with the option's name; empty when nothing is.
std::string optionsFault(const FlightOptions& options);

/// Writes a simulated flight of faultless options as NAME.cont (the sensors, one record a step) and
/// NAME.events (the API calls), and says so in one line on standard output.
///
/// Returns the exit status: 0, or 1 after one line on standard error. When a file can't be written, neither
/// stays that this run created; files that were there before are left cut short. Memory does not grow with
/// the flight's length.
int makeFlight(const FlightOptions& options);
