#pragma once

#include <vector>

#include "logfile/ApiCall.hpp"

namespace simulation {

/// Where simulated flights start. GPS and home positions are computed from here.
namespace FlightOrigin {
constexpr double LATITUDE = 45.0;                        ///< degrees
constexpr double LONGITUDE = 7.0;                        ///< degrees
constexpr double AMSL_ALTITUDE = 240.0;                  ///< m above mean sea level
constexpr double METRES_PER_DEGREE_LATITUDE = 111132.0;  ///< at that latitude
constexpr double METRES_PER_DEGREE_LONGITUDE = 78847.0;  ///< at that latitude
}  // namespace FlightOrigin

/// The calls of a flight of `steps` steps (1 or more) at `rate` steps a second, in ascending order of their
/// steps: arming, take-off, the four legs of a square with a turning hold after each, landing, disarming.
///
/// Take-off and landing take at most the seconds they need; the square stretches over the rest. A short
/// flight stays low, so that it has landed before it ends.
///
/// The last call has the step `steps`, one beyond the last sample. A replay drops the calls of the step in
/// which the event log ends; since no sample asks for that step, no call of the flight is lost.
std::vector<ApiCall> planFlight(int steps, int rate);

}  // namespace simulation
