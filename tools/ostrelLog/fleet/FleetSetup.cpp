#include "ostrelLog/fleet/FleetSetup.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>
#include <system_error>
#include <thread>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/fleet/Signals.hpp"

namespace logtool {

namespace {

namespace fs = std::filesystem;

/// What else decides the result of a replay. Those that are paths are made absolute, as every replay has a
/// working folder of its own.
constexpr const char* PATH_VARIABLES[] = {"OSTREL_ROOT_DIR", "OSTREL_CALIBRATION_DIR", "SYS_PROP_FILE"};
constexpr const char* SECTION_VARIABLE = "TLMB_SECTION_NAME";

constexpr double LONGEST_PROBE = 20;  // seconds; whoever takes longer decides nothing
constexpr std::size_t MOST_PROBES = 3;

Json environmentOfReplays(std::vector<std::string>& reachable) {
  Json variables = Json::object();
  for (const char* name : PATH_VARIABLES) {
    const char* const value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    const std::string path = fs::absolute(value).string();
    setenv(name, path.c_str(), 1);
    variables[name] = path;
    reachable.insert(reachable.end(), {path, fs::weakly_canonical(path).string()});
  }
  if (const char* const section = std::getenv(SECTION_VARIABLE)) variables[SECTION_VARIABLE] = section;
  return variables;
}

Json optionsJson(const FleetOptions& options, std::vector<std::string>& reachable) {
  const CompareOptions& comparison = options.comparison;
  const SectionNames& sections = comparison.sections;
  return {{"only", comparison.selection.only},
          {"tolerance", comparison.tolerance ? Json(*comparison.tolerance) : Json(nullptr)},
          {"section", sections.a ? Json{{"a", *sections.a}, {"b", *sections.b}} : Json(nullptr)},
          {"pace", options.pace},
          {"timeout", options.timeout},
          {"environment", environmentOfReplays(reachable)}};
}

std::string programOf(const FleetOptions& options) {
  if (!options.replay.empty()) return fs::canonical(options.replay).string();
  return (fs::read_symlink("/proc/self/exe").parent_path() / "ostrelReplay").string();
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

std::vector<std::string> fileNames(const std::vector<std::string>& paths) {
  std::vector<std::string> names;
  for (const std::string& path : paths) names.push_back(fs::path(path).filename().string());
  return names;
}

/// Prints what a side loads; a fault when it is not what was meant.
std::optional<Fault> introduce(Side side, const std::string& folder, const Libraries& libraries) {
  const std::string option = side == Side::A ? "--a" : "--b";
  if (!libraries.missing.empty()) {
    return Fault{folder.empty() ? "libraries" : folder, "not found: " + joined(libraries.missing)};
  }
  for (const std::string& file : libraries.unused) report({file, "is loaded by no replay"});
  if (!folder.empty() && libraries.inFolder.empty()) {
    return Fault{option + " " + folder,
                 "a replay loads nothing from there; it would need any of " + joined(libraries.needed)};
  }
  std::cout << nameOf(side) << ": "
            << (folder.empty() ? "the libraries that a replay finds itself"
                               : printable(folder) + ": " + joined(fileNames(libraries.inFolder)))
            << "\n";
  return std::nullopt;
}

/// Whether the replays of each side give an export with steps.
bool givesExports(const FleetPlan& plan, const Flight& flight, const std::string& folder) {
  std::vector<ReplayRequest> requests;
  for (const Side side : SIDES) {
    requests.push_back(
        {flight.continuous, flight.events, plan.libraries[side].searchPath, folder + "/" + nameOf(side)});
  }
  ReplaySettings settings = plan.replays;
  settings.timeoutSeconds = std::min(settings.timeoutSeconds, LONGEST_PROBE);
  for (const ReplayOutcome& outcome : runReplays(settings, requests)) {
    if (!outcome.ran() || readExport(outcome.exportFile, {}, std::nullopt).records == 0) return false;
  }
  return true;
}

/// Why replays can't be isolated; empty when they can, or when no flight tells.
std::string whyNotIsolated(const std::vector<Flight>& flights, const std::string& folder, FleetPlan& plan) {
  std::size_t probes = 0;
  for (const Flight& flight : flights) {
    FlightJob job(plan, flight, folder);
    job.identify();
    if (!job.row["verdict"].is_null() || plan.known.verdicts.count(job.row["key"]) != 0) continue;
    if (probes++ == MOST_PROBES || notedSignal() != 0) break;
    plan.replays.isolation = Isolation::PRIVATE;
    try {
      if (givesExports(plan, flight, folder)) return {};
    } catch (const std::system_error& error) {
      return error.what();
    }
    plan.replays.isolation = Isolation::ONE_BY_ONE;
    if (givesExports(plan, flight, folder)) return "only a replay without it gives an export";
  }
  return {};
}

}  // namespace

std::optional<Fault> preparePlan(const FleetOptions& options, FleetPlan& plan) {
  ReplaySettings& replays = plan.replays;
  replays.program = programOf(options);
  replays.pace = options.pace;
  replays.timeoutSeconds = options.timeout;
  plan.comparison = options.comparison;
  plan.options = optionsJson(options, replays.reachable);
  plan.sameLibraries = options.folders.b.empty();
  LogPair<std::string> folders = options.folders;
  if (plan.sameLibraries) folders.b = folders.a;
  for (const Side side : SIDES) {
    const std::string& folder = options.folders[side];
    if (!folder.empty() && !fs::is_directory(folder)) {
      return Fault{(side == Side::A ? "--a " : "--b ") + folder, "no such folder"};
    }
    plan.libraries[side] = loadedLibraries(replays.program, folders[side]);
    if (side == Side::B && plan.sameLibraries) break;
    if (auto fault = introduce(side, folders[side], plan.libraries[side])) return fault;
    std::istringstream searched(plan.libraries[side].searchPath);
    for (std::string path; std::getline(searched, path, ':');) replays.reachable.push_back(path);
    const auto& files = plan.libraries[side].files;
    replays.reachable.insert(replays.reachable.end(), files.begin(), files.end());
  }
  if (plan.sameLibraries) {
    std::cout << "B: as A; a difference tells that a replay is not the same as itself\n";
  } else if (plan.libraries.a.digest == plan.libraries.b.digest) {
    report({"--b " + folders.b, "holds the same libraries as A"});
  }
  std::cout.flush();
  return std::nullopt;
}

std::optional<Fault> settleIsolation(const FleetOptions& options, const std::vector<Flight>& flights,
                                     const std::string& folder, FleetPlan& plan) {
  plan.replays.isolation = Isolation::OFF;
  if (options.isolate == "off") return std::nullopt;
  const std::string reason = whyNotIsolated(flights, folder, plan);
  plan.replays.isolation = reason.empty() ? Isolation::PRIVATE : Isolation::ONE_BY_ONE;
  if (reason.empty()) return std::nullopt;
  if (options.isolate == "require") return Fault{"--isolate require", reason};
  report({"replays can't have a /dev/shm of their own, and run one at a time", reason});
  return std::nullopt;
}

namespace {

/// Bytes that processes may still take, the files that the kernel keeps in memory for now among them.
std::uint64_t availableMemory() {
  std::ifstream file("/proc/meminfo");
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string name;
    std::uint64_t kibibytes = 0;
    if (words >> name >> kibibytes && name == "MemAvailable:") return kibibytes << 10U;
  }
  return std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

unsigned defaultJobs() {
  // Measured: a flight of a minute takes a processor some 80 ms and sleeps for two seconds, so about 25
  // keep a processor busy, and the starts are paced for shorter ones.
  constexpr unsigned EACH_PROCESSOR = 32;
  // A worker, two or three replays and their libraries.
  constexpr std::uint64_t EACH_BYTES = std::uint64_t{64} << 20U;
  const std::uint64_t memory = availableMemory();
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  const std::uint64_t most = std::min<std::uint64_t>(memory / EACH_BYTES, files.rlim_cur / 4);
  const std::uint64_t wanted =
      std::uint64_t{EACH_PROCESSOR} * std::max(1U, std::thread::hardware_concurrency());
  return static_cast<unsigned>(std::clamp<std::uint64_t>(wanted, 1, std::max<std::uint64_t>(most, 1)));
}

}  // namespace logtool
