#pragma once

#include <string>

#include "ostrelLog/fleet/Flights.hpp"

namespace logtool {

/// Why one of the flight's logs is no log of its kind, with its path; empty when both are.
std::string inputFault(const Flight& flight);

/// Where the flight's logs are cut or damaged, with their paths; empty when both are whole. Reads both to
/// their ends.
std::string inputCuts(const Flight& flight);

}  // namespace logtool
