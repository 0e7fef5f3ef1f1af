#pragma once

#include <cstdint>
#include <string>

#include "ostrelLog/compare/DiffResult.hpp"
#include "ostrelLog/fleet/ExportReading.hpp"
#include "ostrelLog/fleet/Flights.hpp"
#include "ostrelLog/render/Json.hpp"

namespace logtool {

/// Sets "first", "differ" and "compared" of a row, and returns the reason for its verdict; the numbers of
/// steps are those of both exports.
std::string describeDifference(const DiffResult& difference, const Flight& flight, std::uint64_t stepsA,
                               std::uint64_t stepsB, Json& row);

/// Why an export can't be compared.
std::string whyNotComparable(const ExportReading& reading);

}  // namespace logtool
