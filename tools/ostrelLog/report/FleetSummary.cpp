#include "ostrelLog/report/FleetSummary.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace logtool {

namespace {

/// Variables have names from logs, and a damaged log may name anything. Bins that are more than anyone
/// reads are counted as one.
constexpr std::size_t MOST_COUNTED = 10'000;
const char* const OTHERS = "(all others)";

/// Inserts the row where `before` puts it, and drops the last one of too many.
template <class Order>
void insertRanked(std::vector<FlightRow>& rows, const FlightRow& row, Order before) {
  const auto place = std::upper_bound(rows.begin(), rows.end(), row, before);
  if (place == rows.end() && rows.size() == FleetSummary::NAMED) return;
  rows.insert(place, row);
  if (rows.size() > FleetSummary::NAMED) rows.pop_back();
}

bool isSlower(const FlightRow& one, const FlightRow& other) {
  return one.seconds > other.seconds;
}

/// Flights that differ in no step, such as failed ones, come last.
double stepOf(const FlightRow& row) {
  return row.first.is_object() && row.first.contains("step") && row.first["step"].is_number()
             ? row.first["step"].get<double>()
             : HUGE_VAL;
}

bool differsEarlier(const FlightRow& one, const FlightRow& other) {
  return stepOf(one) < stepOf(other);
}

double secondsOf(const nlohmann::json& row, const char* side) {
  return row.contains(side) && row[side].is_object() ? row[side].value("seconds", 0.0) : 0;
}

}  // namespace

std::optional<FlightRow> FlightRow::parse(const std::string& line) {
  const nlohmann::json row = nlohmann::json::parse(line, nullptr, false);
  if (!row.is_object()) return std::nullopt;
  try {
    FlightRow facts{row.at("flight"), row.at("verdict"), "", row.value("first", nlohmann::json()), 0};
    if (row.contains("reason") && row["reason"].is_string()) facts.reason = row["reason"];
    facts.seconds = secondsOf(row, "a") + secondsOf(row, "b");
    return facts;
  } catch (const nlohmann::json::exception&) {  // an entry is missing or of another type
    return std::nullopt;
  }
}

std::string FlightRow::what() const {
  if (first.is_object() && first.contains("variable") && first["variable"].is_string())
    return first["variable"];
  return reason;
}

const std::array<const char*, 8>& FleetSummary::verdicts() {
  static const std::array<const char*, 8> ALL = {"changed",          "same",        "failed-a",
                                                 "failed-b",         "failed-both", "unstable",
                                                 "nothing-compared", "bad-input"};
  return ALL;
}

bool FleetSummary::add(const FlightRow& row) {
  if (std::find(verdicts().begin(), verdicts().end(), row.verdict) == verdicts().end()) return false;
  ++total;
  ++countOf[row.verdict];
  insertRanked(slow, row, isSlower);
  if (row.verdict == "same") return true;

  std::pair<std::string, std::string> name = {row.verdict, row.what()};
  if (binOf.size() >= MOST_COUNTED && binOf.count(name) == 0) name.second = OTHERS;
  Bin& bin = binOf[name];
  bin.verdict = name.first;
  bin.what = name.second;
  ++bin.flights;
  insertRanked(bin.earliest, row, differsEarlier);
  return true;
}

std::uint64_t FleetSummary::flightsOf(const std::string& verdict) const {
  const auto found = countOf.find(verdict);
  return found == countOf.end() ? 0 : found->second;
}

std::vector<Bin> FleetSummary::bins() const {
  std::vector<Bin> sorted;
  for (const auto& [name, bin] : binOf) sorted.push_back(bin);
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const Bin& one, const Bin& other) { return one.flights > other.flights; });
  return sorted;
}

std::vector<FlightRow> FleetSummary::lookFirst() const {
  std::vector<FlightRow> chosen;
  const std::vector<Bin> sorted = bins();
  for (std::size_t rank = 0; rank < NAMED; ++rank) {
    for (const Bin& bin : sorted) {
      if (chosen.size() == NAMED) return chosen;
      if (rank < bin.earliest.size()) chosen.push_back(bin.earliest[rank]);
    }
  }
  return chosen;
}

}  // namespace logtool
