#include "ostrelLog/render/ReportText.hpp"

#include <algorithm>
#include <iomanip>
#include <ostream>

#include "ostrelLog/Output.hpp"

namespace logtool {

namespace {

/// More than a screen of them hides the rest of the report.
constexpr std::size_t MOST_BINS = 20;

/// A value of a row as text: rows write what is no JSON number, such as infinity, as a string.
std::string valueText(const nlohmann::json& object, const char* name) {
  if (!object.contains(name)) return "?";
  const nlohmann::json& value = object[name];
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string troubleOf(const FlightRow& row) {
  if (!row.first.is_object()) return row.reason;
  return "step " + valueText(row.first, "step") + ", " + row.what() + ": " + valueText(row.first, "a") +
         " in A, " + valueText(row.first, "b") + " in B";
}

}  // namespace

std::string headline(const FleetSummary& fleet) {
  const auto part = [&](const char* verdict) {
    const std::uint64_t flights = fleet.flightsOf(verdict);
    return flights == 0 ? "" : ", " + std::to_string(flights) + " " + verdict;
  };
  const std::uint64_t failed =
      fleet.flightsOf("failed-a") + fleet.flightsOf("failed-b") + fleet.flightsOf("failed-both");
  std::string line = std::to_string(fleet.flightsOf("changed")) + " changed, " +
                     std::to_string(fleet.flightsOf("same")) + " same, " + std::to_string(failed) +
                     " failed";
  for (const char* rare : {"unstable", "nothing-compared", "bad-input"}) line += part(rare);
  line += " of " + std::to_string(fleet.flights());
  if (fleet.withoutRow) line += ", " + std::to_string(fleet.withoutRow->size()) + " without a row";
  return line;
}

void writeText(std::ostream& out, const FleetSummary& fleet) {
  out << headline(fleet) << "\n";
  const std::vector<Bin> bins = fleet.bins();
  if (!bins.empty()) out << "  flights  verdict           first differing variable, or reason\n";
  for (std::size_t at = 0; at < std::min(bins.size(), MOST_BINS); ++at) {
    const Bin& bin = bins[at];
    out << "  " << std::setw(7) << bin.flights << "  " << std::left << std::setw(16) << bin.verdict
        << std::right << "  " << printable(bin.what) << "\n";
  }
  if (bins.size() > MOST_BINS)
    out << "           and " << counted(bins.size() - MOST_BINS, "smaller group") << ", see --json\n";
  if (!bins.empty()) out << "  look first at\n";
  for (const FlightRow& row : fleet.lookFirst()) {
    out << "    " << std::left << std::setw(16) << row.verdict << std::right << "  "
        << printable(row.flight + ": " + troubleOf(row)) << "\n";
  }
  if (fleet.flights() > 0) out << "  slowest\n";
  for (const FlightRow& row : fleet.slowest()) {
    out << "    " << std::fixed << std::setprecision(1) << std::setw(8) << row.seconds << " s  "
        << printable(row.flight) << "\n";
  }
  if (!fleet.withoutRow || fleet.withoutRow->empty()) return;
  out << "  without a row\n";
  for (const std::string& flight : *fleet.withoutRow) out << "    " << printable(flight) << "\n";
}

}  // namespace logtool
