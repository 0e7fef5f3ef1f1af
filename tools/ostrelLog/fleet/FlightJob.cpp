#include "ostrelLog/fleet/FlightJob.hpp"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

#include "logfile/ErrorText.hpp"
#include "ostrelLog/compare/Comparison.hpp"
#include "ostrelLog/fleet/Digest.hpp"
#include "ostrelLog/fleet/InputLogs.hpp"
#include "ostrelLog/fleet/RowJson.hpp"
#include "ostrelLog/fleet/SystemError.hpp"

namespace logtool {

namespace {

// A replay of A in so many is made twice although nothing changed, to notice a library that is not
// deterministic.
constexpr unsigned long CHECKED_EACH = 50;

Json textOrNull(const std::string& text) {
  return text.empty() ? Json(nullptr) : Json(text);
}

std::int64_t changeTime(const struct stat& status) {
  return status.st_mtim.tv_sec * std::int64_t{1'000'000'000} + status.st_mtim.tv_nsec;
}

}  // namespace

FlightJob::FlightJob(const FleetPlan& fleetPlan, const Flight& theFlight, std::string jobFolder)
    : plan(fleetPlan), flight(theFlight), folder(std::move(jobFolder)) {
  row = {{"key", nullptr},       {"flight", flight.name},
         {"verdict", nullptr},   {"reason", nullptr},
         {"cut", nullptr},       {"files", nullptr},
         {"tool", plan.tool},    {"options", plan.options},
         {"libraries", nullptr}, {"a", nullptr},
         {"b", nullptr},         {"first", nullptr},
         {"differ", nullptr},    {"compared", {{"variables", 0}, {"steps", 0}}},
         {"kept", nullptr}};
  for (const Side side : SIDES) {
    const Libraries& libraries = plan.libraries[side];
    row["libraries"][keyOf(side)] = {{"digest", libraries.digest}, {"files", libraries.digests}};
  }
}

void FlightJob::setVerdict(const char* verdict, const std::string& reason) {
  row["verdict"] = verdict;
  row["reason"] = textOrNull(reason);
}

void FlightJob::identify() {
  Digest key;
  key.add(flight.name);
  key.add(plan.tool);
  key.add(plan.options.dump());
  key.add(row["libraries"].dump());
  const auto events = describeFile(flight.events, "events", key);
  const auto continuous = describeFile(flight.continuous, "continuous", key);
  // The continuous log comes first in the row, and its fault is the one that is told of two.
  row["files"] = {{"continuous", row["files"]["continuous"]}, {"events", row["files"]["events"]}};
  if (events) setVerdict("bad-input", *events);
  if (continuous) setVerdict("bad-input", *continuous);
  row["key"] = key.hex();
}

bool FlightJob::filesAreKnown() const {
  return plan.known.files.count(flight.continuous) != 0 && plan.known.files.count(flight.events) != 0;
}

/// Describes one of the flight's files in the row, and adds it to the key. Why it can't be read, if so.
std::optional<std::string> FlightJob::describeFile(const std::string& path, const char* kind, Digest& key) {
  row["files"][kind] = nullptr;
  key.add(path.empty() ? "none" : kind);
  if (path.empty()) return "no " + std::string(kind == std::string("events") ? "event" : kind) + " log";
  struct stat status {};
  int result = stat(path.c_str(), &status) == 0 ? 0 : -errno;
  if (result == 0 && !S_ISREG(status.st_mode)) return path + ": not a regular file";
  const auto bytes = static_cast<std::uint64_t>(status.st_size);
  const std::int64_t changed = changeTime(status);
  std::string digest;
  const auto known = plan.known.files.find(path);
  if (known != plan.known.files.end() && known->second.bytes == bytes && known->second.changed == changed) {
    digest = known->second.digest;
  } else if (result == 0) {
    result = digestOfFile(path, digest);
  }
  if (result == -EMFILE || result == -ENFILE || result == -ENOMEM) {
    fail(-result, path);
  }
  row["files"][kind] = {
      {"path", path}, {"bytes", bytes}, {"changed", changed}, {"digest", textOrNull(digest)}};
  key.add(digest);
  return result == 0 ? std::nullopt : std::optional<std::string>(path + ": " + errorText(result));
}

bool FlightJob::isChecked() const {
  // Chosen by content, so that it is the same flight in every run and on every machine.
  const std::string digest = row["files"]["continuous"]["digest"];
  return std::strtoul(digest.substr(0, 8).c_str(), nullptr, 16) % CHECKED_EACH == 0;
}

void FlightJob::judge() {
  if (!row["verdict"].is_null()) return;
  judgeByReplays();
  for (const auto& [kind, file] : row["files"].items()) {
    const std::string path = file["path"];
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && status.st_size == file["bytes"] &&
        changeTime(status) == file["changed"]) {
      continue;
    }
    // Nobody knows what was replayed. The row is not one of the file before or after.
    Digest key;
    key.add(row["key"].get<std::string>());
    row["key"] = key.hex();
    return setVerdict("bad-input", path + ": changed during the run");
  }
}

void FlightJob::judgeByReplays() {
  if (const std::string fault = inputFault(flight); !fault.empty()) return setVerdict("bad-input", fault);
  const bool checked = isChecked() && !plan.sameLibraries;
  const auto known = plan.baseline.sides.find(Baseline::identity(row, Side::A));
  if (known != plan.baseline.sides.end()) return judgeByBaseline(Json::parse(known->second), checked);
  std::vector<Wanted> wanted = {{Side::A, "a"}, {Side::B, "b"}};
  if (checked) wanted.push_back({Side::A, "a2"});
  const std::vector<Result> results = replay(wanted);
  judgeBoth(results[0], results[1]);
  if (checked && row["verdict"] == "same" && !isItself(results[0], results[2])) {
    setVerdict("unstable", "A differs from itself");
  }
}

/// Judges by the replay of B and by what an earlier run knows of A. A is replayed where B differs, or where
/// the earlier run is to be checked.
void FlightJob::judgeByBaseline(const Json& known, bool checked) {
  std::vector<Wanted> wanted = {{Side::B, "b"}};
  if (checked) wanted.push_back({Side::A, "a"});
  std::vector<Result> results = replay(wanted);
  const Result b = results[0];
  const bool same = b.reading.comparable() && b.reading.digest == known["digest"];
  if (same && !checked) {
    if (!b.outcome.silent) row["cut"] = textOrNull(inputCuts(flight));
    row["a"] = known;
    row["b"] = sideJson(b);
    row["compared"] = {{"variables", b.reading.variables}, {"steps", b.reading.steps}};
    return setVerdict("same", "");
  }
  const Result a = checked ? results[1] : replay({{Side::A, "a"}})[0];
  judgeBoth(a, b);
  if (a.reading.digest != known["digest"]) setVerdict("unstable", "A differs from the baseline");
}

/// Replays with the libraries of these sides, each in a folder of this name.
std::vector<FlightJob::Result> FlightJob::replay(const std::vector<Wanted>& wanted) {
  std::vector<ReplayRequest> requests;
  for (const auto& [side, name] : wanted) {
    requests.push_back(
        {flight.continuous, flight.events, plan.libraries[side].searchPath, folder + "/" + name});
  }
  beforeReplays();
  std::vector<ReplayOutcome> outcomes = runReplays(plan.replays, requests);
  std::vector<Result> results;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    Result result{std::move(outcomes[i]), {}};
    disturbed = disturbed || result.outcome.signal.has_value();
    // The folder's name says nothing to the reader of a row, and is another one in every run.
    const std::string prefix = folder + "/";
    for (std::size_t at = 0; (at = result.outcome.line.find(prefix, at)) != std::string::npos;) {
      result.outcome.line.erase(at, prefix.size());
    }
    if (result.outcome.ran()) {
      result.reading = readExport(result.outcome.exportFile, plan.comparison.selection,
                                  plan.comparison.sections[wanted[i].side]);
    }
    results.push_back(std::move(result));
  }
  return results;
}

Json FlightJob::sideJson(const Result& result) const {
  const ReplayOutcome& outcome = result.outcome;
  const bool read = outcome.ran() && result.reading.fault.empty();
  return {{"exit", outcome.exitStatus ? Json(*outcome.exitStatus) : Json(nullptr)},
          {"signal", outcome.signal ? Json(*outcome.signal) : Json(nullptr)},
          {"timeout", outcome.timedOut},
          {"seconds", outcome.seconds},
          {"steps", read ? Json(result.reading.steps) : Json(nullptr)},
          {"line", textOrNull(outcome.line)},
          {"digest", result.reading.comparable() ? Json(result.reading.digest) : Json(nullptr)}};
}

void FlightJob::judgeBoth(const Result& a, const Result& b) {
  // Reading the logs once more takes a tenth of a flight's time, and replays tell of what is not whole.
  if (!a.outcome.silent || !b.outcome.silent) row["cut"] = textOrNull(inputCuts(flight));
  row["a"] = sideJson(a);
  row["b"] = sideJson(b);
  if (judgeFailures(a, b)) {
    // The same libraries failed in one of two replays.
    if (plan.sameLibraries && a.reading.comparable() != b.reading.comparable()) row["verdict"] = "unstable";
    return;
  }
  // What both have in the same bits needs no closer look.
  if (a.reading.digest != b.reading.digest) return compareExports(a, b);
  row["compared"] = {{"variables", a.reading.variables}, {"steps", a.reading.steps}};
  setVerdict("same", "");
}

/// Whether there is nothing to compare: a side has failed, or its export can't be compared.
bool FlightJob::judgeFailures(const Result& a, const Result& b) {
  const double timeout = plan.replays.timeoutSeconds;
  if (!a.outcome.ran() && !b.outcome.ran()) {
    const std::string first = a.outcome.failure(timeout), second = b.outcome.failure(timeout);
    setVerdict("failed-both", first == second ? first : "A: " + first + ", B: " + second);
  } else if (!a.outcome.ran()) {
    setVerdict("failed-a", a.outcome.failure(timeout));
  } else if (!b.outcome.ran()) {
    setVerdict("failed-b", b.outcome.failure(timeout));
  } else {
    for (const Result* side : {&a, &b}) {
      const ExportReading& reading = side->reading;
      if (reading.comparable()) continue;
      setVerdict("nothing-compared", (side == &a ? "A: " : "B: ") + whyNotComparable(reading));
      names = reading.names;
      return true;
    }
    return false;
  }
  return true;
}

void FlightJob::compareExports(const Result& a, const Result& b) {
  exports = {a.outcome.exportFile, b.outcome.exportFile};
  const DiffResult difference = compare(exports, plan.comparison);
  const std::string reason = describeDifference(difference, flight, a.reading.steps, b.reading.steps, row);
  switch (difference.answer()) {
    case DiffResult::SAME: return setVerdict("same", "");
    case DiffResult::TROUBLE: return setVerdict("nothing-compared", reason);
    case DiffResult::DIFFERENT: break;
  }
  if (plan.sameLibraries) return setVerdict("unstable", reason);
  // A difference counts only if each side is the same as itself.
  const std::string unstable = replayAgain(a, b);
  setVerdict(unstable.empty() ? "changed" : "unstable", unstable.empty() ? reason : unstable);
}

/// Replays both once more. Which of them differs from itself; empty when none does.
std::string FlightJob::replayAgain(const Result& a, const Result& b) {
  const std::vector<Result> again = replay({{Side::A, "a3"}, {Side::B, "b3"}});
  const bool stableA = isItself(a, again[0]), stableB = isItself(b, again[1]);
  if (stableA && stableB) return {};
  if (stableA) return "B differs from itself";
  return stableB ? "A differs from itself" : "A and B differ from themselves";
}

bool FlightJob::isItself(const Result& first, const Result& second) const {
  if (!second.outcome.ran() || !second.reading.comparable()) return false;
  if (first.reading.digest == second.reading.digest) return true;
  return compare({first.outcome.exportFile, second.outcome.exportFile}, plan.comparison).answer() ==
         DiffResult::SAME;
}

}  // namespace logtool
