#include "ostrelLog/fleet/RowJson.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "logfile/scan/OpenLog.hpp"

namespace logtool {

namespace {

constexpr std::size_t VARIABLES_LISTED = 20;

/// The step index that the flight itself has at the sample of this number, which the index of an export is:
/// the library counts its own steps from 0.
Json flightStep(const Flight& flight, std::int64_t number) {
  std::string fault;
  const auto log = openLog(flight.continuous, fault);
  const char* const named = std::getenv("TLMB_SECTION_NAME");
  const std::string section = named == nullptr || *named == '\0' ? "navdata" : named;
  for (Record record{}; log && log->next(record);) {
    if (log->kind == LogKind::BLACKBOX && record.layout->name != section) continue;
    if (number-- == 0) return record.index;
  }
  return nullptr;
}

/// A value as a number where JSON has it: not NaN and the infinities, which stay texts.
Json valueJson(const std::string& text) {
  const Json value = Json::parse(text, nullptr, false);
  return value.is_number() ? value : Json(text);
}

Json distanceJson(long double distance) {
  const auto value = static_cast<double>(distance);
  if (std::isfinite(value)) return value;
  return std::isnan(value) ? "nan" : "inf";
}

Json firstJson(const FirstDifference& first, const Flight& flight) {
  Json object = {{"index", first.index},
                 {"step", flightStep(flight, first.index)},
                 {"variable", nullptr},
                 {"a", nullptr},
                 {"b", nullptr}};
  if (!first.onlyIn) {
    object["variable"] = first.what;
    object["a"] = valueJson(first.values.a);
    object["b"] = valueJson(first.values.b);
  }
  return object;
}

std::string namesAlone(const DiffResult& difference, Side side) {
  std::string names;
  for (const SectionDiff& part : difference.parts) {
    for (const std::string& name : part.logs[side].variablesAlone)
      names += (names.empty() ? "" : ", ") + name;
  }
  for (const std::string& name : difference.sectionsAlone[side]) {
    names += (names.empty() ? "section " : ", section ") + name;
  }
  return names.empty() ? "" : "only in " + std::string(nameOf(side)) + ": " + names;
}

}  // namespace

std::string describeDifference(const DiffResult& difference, const Flight& flight, std::uint64_t stepsA,
                               std::uint64_t stepsB, Json& row) {
  std::size_t variables = 0, shared = 0;
  std::uint64_t steps = 0, pairs = 0;
  Json largest = Json::array();
  const FirstDifference* first = nullptr;
  for (const SectionDiff& part : difference.parts) {
    variables += part.differences.size();
    steps += part.pairsThatDiffer;
    shared += part.sharedVariables.size();
    pairs = std::max(pairs, part.pairs);
    for (const auto& [name, found] : part.differences) {
      if (largest.size() < VARIABLES_LISTED) {
        largest.push_back({{"variable", name}, {"difference", distanceJson(found.largest)}});
      }
    }
    if (part.first && (first == nullptr || part.first->index < first->index)) first = &*part.first;
  }
  row["compared"] = {{"variables", shared}, {"steps", pairs}};
  if (const auto trouble = difference.trouble()) return trouble->reason;
  if (difference.answer() != DiffResult::DIFFERENT) return {};
  if (first != nullptr) row["first"] = firstJson(*first, flight);
  row["differ"] = {{"variables", variables}, {"steps", steps}, {"largest", largest}};
  std::string reason;
  if (stepsA != stepsB) reason = "steps " + std::to_string(stepsA) + " against " + std::to_string(stepsB);
  for (const Side side : SIDES) {
    const std::string alone = namesAlone(difference, side);
    if (!alone.empty()) reason += (reason.empty() ? "" : "; ") + alone;
  }
  if (!reason.empty() || first == nullptr || first->onlyIn) return reason;
  return first->what + " " + first->values.a + " against " + first->values.b;
}

std::string whyNotComparable(const ExportReading& reading) {
  if (!reading.fault.empty()) return "no whole export: " + reading.fault;
  if (reading.records == 0) return "the export holds no step";
  return "none of the export's " + counted(reading.names.size(), "variable") + " is compared";
}

}  // namespace logtool
