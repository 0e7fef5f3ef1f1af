#pragma once

#include <iosfwd>

#include "ostrelLog/report/FleetSummary.hpp"

namespace logtool {

/// The flights of each verdict in one line: "11 changed, 55 same, 0 failed of 66".
std::string headline(const FleetSummary& fleet);

/// What the rows say, for a person.
void writeText(std::ostream& out, const FleetSummary& fleet);

}  // namespace logtool
