#pragma once

#include <iosfwd>

#include "ostrelLog/report/FleetSummary.hpp"

namespace logtool {

/// What the rows say, as one JSON object.
void writeJson(std::ostream& out, const FleetSummary& fleet);

}  // namespace logtool
