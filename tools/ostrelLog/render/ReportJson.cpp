#include "ostrelLog/render/ReportJson.hpp"

#include "ostrelLog/render/Json.hpp"

namespace logtool {

void writeJson(std::ostream& out, const FleetSummary& fleet) {
  Json verdicts = Json::object(), bins = Json::array(), lookFirst = Json::array(), slowest = Json::array();
  for (const char* verdict : FleetSummary::verdicts()) verdicts[verdict] = fleet.flightsOf(verdict);
  for (const Bin& bin : fleet.bins())
    bins.push_back({{"verdict", bin.verdict}, {"what", bin.what}, {"flights", bin.flights}});
  for (const FlightRow& row : fleet.lookFirst()) {
    lookFirst.push_back({{"flight", row.flight},
                         {"verdict", row.verdict},
                         {"reason", row.reason},
                         {"first", Json(row.first)}});
  }
  for (const FlightRow& row : fleet.slowest())
    slowest.push_back({{"flight", row.flight}, {"seconds", row.seconds}});
  print(out, {{"flights", fleet.flights()},
              {"verdicts", verdicts},
              {"withoutRow", fleet.withoutRow ? Json(*fleet.withoutRow) : Json(nullptr)},
              {"bins", bins},
              {"lookFirst", lookFirst},
              {"slowest", slowest}});
}

}  // namespace logtool
