#include "ostrelLog/fleet/InputLogs.hpp"

#include "logfile/scan/OpenLog.hpp"

namespace logtool {

std::string inputFault(const Flight& flight) {
  for (const std::string& path : {flight.continuous, flight.events}) {
    std::string reason;
    const auto log = openLog(path, reason);
    if (log && (log->kind == LogKind::EVENTS) != (path == flight.events)) {
      reason = path == flight.events ? "is no event log" : "is an event log";
    }
    if (!reason.empty()) return path + ": " + reason;
  }
  return {};
}

std::string inputCuts(const Flight& flight) {
  std::string cuts;
  for (const std::string& path : {flight.continuous, flight.events}) {
    std::string ignored;
    const auto log = openLog(path, ignored);
    if (!log) continue;
    for (Record record{}; log->next(record);) continue;
    const LogEnd& end = log->end();
    if (end.state != LogEnd::WHOLE) cuts += (cuts.empty() ? "" : "; ") + path + ": " + end.text();
  }
  return cuts;
}

}  // namespace logtool
