#include "ostrelLog/report/FleetPage.hpp"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <variant>

#include "ostrelLog/fleet/Digest.hpp"
#include "ostrelLog/fleet/KnownRows.hpp"
#include "ostrelLog/pages/report.hpp"
#include "ostrelLog/plot/PlotPage.hpp"
#include "ostrelLog/render/Page.hpp"
#include "ostrelLog/render/ReportText.hpp"

namespace logtool {

namespace {

namespace fs = std::filesystem;

/// What nobody reads to its end is cut, and the page says so.
constexpr std::uint64_t MOST_FLIGHTS = 20'000;
constexpr std::size_t MOST_BARS = 20;
constexpr std::size_t MOST_WITHOUT_ROW = 1'000;
/// A page of an hour takes up to 3 MB.
constexpr int MOST_PAGES = 200;

/// The value at a place of a row; null when there is none, since rows may be of another version.
Json valueAt(const Json& row, const std::string& place) {
  const Json::json_pointer pointer(place);
  return row.contains(pointer) ? row.at(pointer) : Json();
}

/// How the flight was compared, so that its page shows the difference of the row.
CompareOptions comparisonOf(const Json& row) {
  CompareOptions comparison;
  for (const Json& pattern : valueAt(row, "/options/only")) {
    if (pattern.is_string()) comparison.selection.only.push_back(pattern);
  }
  const Json tolerance = valueAt(row, "/options/tolerance");
  if (tolerance.is_number()) comparison.tolerance = tolerance.get<double>();
  for (const Side side : SIDES) {
    const Json section = valueAt(row, std::string("/options/section/") + keyOf(side));
    if (section.is_string()) comparison.sections[side] = section.get<std::string>();
  }
  return comparison;
}

/// Where a kept export is: its path is relative to the folder in which the run was started, which may be
/// that of the rows.
std::string placeOf(const std::string& kept, const std::string& rowFile) {
  std::error_code unknown;
  if (fs::exists(kept, unknown)) return kept;
  const fs::path beside = fs::path(rowFile).parent_path() / kept;
  return fs::exists(beside, unknown) ? beside.string() : kept;
}

class FleetPage {
 public:
  FleetPage(const std::string& path, const FleetSummary& summary, const RowFiles& rowFiles)
      : page(path), folder(fs::path(path).replace_extension(".flights")), fleet(summary), rows(rowFiles) {}

  std::optional<Fault> write(const std::vector<std::string>& notes) {
    page.add(pages::REPORT_HEAD);
    std::string head = pageData(headJson(notes));
    head.back() = ',';  // the object goes on with the flights
    page.add(head + "\"flights\":[");
    addFlights([](const FlightRow& facts) { return facts.verdict != "same"; });
    addFlights([](const FlightRow& facts) { return facts.verdict == "same"; });
    page.add("],\"withoutPage\":" + std::to_string(withoutPage) + "}");
    page.add(pages::REPORT_TAIL);
    return fault ? fault : page.finish();
  }

 private:
  Json headJson(const std::vector<std::string>& notes) const {
    Json head = {{"headline", headline(fleet)},
                 {"notes", notes},
                 {"folder", folder.filename().string()},
                 {"verdicts", Json::object()},
                 {"bins", Json::array()}};
    for (const char* verdict : FleetSummary::verdicts())
      head["verdicts"][verdict] = fleet.flightsOf(verdict);
    const std::vector<Bin> bins = fleet.bins();
    for (std::size_t at = 0; at < std::min(bins.size(), MOST_BARS); ++at) {
      head["bins"].push_back(
          {{"verdict", bins[at].verdict}, {"what", bins[at].what}, {"flights", bins[at].flights}});
    }
    head["moreBins"] = bins.size() - head["bins"].size();
    std::vector<std::string> missing = fleet.withoutRow.value_or(std::vector<std::string>());
    head["withoutRow"] = missing.size();
    missing.resize(std::min(missing.size(), MOST_WITHOUT_ROW));
    head["namesWithoutRow"] = missing;
    return head;
  }

  template <class Condition>
  void addFlights(Condition isWanted) {
    rows.forEach([&](const std::string& line, const RowFiles::Place& place) {
      const auto facts = FlightRow::parse(line);
      if (fault || !facts || !isWanted(*facts) || fleet.flightsOf(facts->verdict) == 0) return;
      if (listed == MOST_FLIGHTS) return;
      page.add((listed++ == 0 ? "" : ",") + pageData(flightJson(Json::parse(line), *facts, place.file)));
    });
  }

  Json flightJson(const Json& row, const FlightRow& facts, const std::string& rowFile) {
    Json flight = {{"flight", facts.flight}, {"verdict", facts.verdict}, {"seconds", facts.seconds}};
    // Most flights have none of these, and the page is smaller without.
    const auto put = [&flight](const char* name, const Json& value) {
      if (value.is_number() || (value.is_string() && value != "")) flight[name] = value;
    };
    const std::string what = facts.what();
    put("what", what);
    // Most reasons say again what differs first: "outputs.x 1 against 2".
    std::string more = facts.reason == what ? "" : facts.reason;
    if (more.rfind(what + " ", 0) == 0) more.erase(0, what.size() + 1);
    put("reason", more);
    put("cut", valueAt(row, "/cut"));
    put("step", valueAt(row, "/first/step"));
    put("differ", valueAt(row, "/differ/steps"));
    put("steps", valueAt(row, "/a/steps"));
    put("steps", valueAt(row, "/compared/steps"));
    if (facts.verdict == "changed") addComparison(row, facts, rowFile, flight);
    return flight;
  }

  /// Makes the page of a changed flight whose exports were kept.
  void addComparison(const Json& row, const FlightRow& facts, const std::string& rowFile, Json& flight) {
    PlotOptions plot;
    for (const Side side : SIDES) {
      const Json kept = valueAt(row, std::string("/kept/") + keyOf(side));
      if (!kept.is_string()) return;
      plot.files[side] = placeOf(kept, rowFile);
    }
    if (pagesMade == MOST_PAGES) {
      ++withoutPage;
      return;
    }
    plot.comparison = comparisonOf(row);
    plot.title = facts.flight + ": A and B";
    const auto result = readPlot(plot);
    if (const auto* unread = std::get_if<Fault>(&result)) {
      report(*unread);
      flight["noPage"] = unread->where + ": " + unread->reason;
      return;
    }
    ++pagesMade;
    Digest name;
    name.add(valueAt(row, "/key").dump());
    flight["page"] = name.hex() + ".html";
    std::error_code error;
    fs::create_directory(folder, error);
    if (error) {
      fault = Fault{folder.string(), error.message()};
      return;
    }
    PageFile comparison((folder / flight["page"]).string());
    comparison.add(plotPage(std::get<PlotData>(result)));
    fault = comparison.finish();
  }

  PageFile page;
  const fs::path folder;
  const FleetSummary& fleet;
  const RowFiles& rows;
  std::uint64_t listed = 0;
  int pagesMade = 0;
  std::uint64_t withoutPage = 0;  // flights whose exports were kept, behind the limits
  std::optional<Fault> fault;     // of a flight's page
};

}  // namespace

std::optional<Fault> writeFleetPage(const std::string& path, const std::vector<std::string>& notes,
                                    const FleetSummary& fleet, const RowFiles& rows) {
  return FleetPage(path, fleet, rows).write(notes);
}

}  // namespace logtool
