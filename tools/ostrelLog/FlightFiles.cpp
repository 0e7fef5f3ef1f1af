#include "ostrelLog/FlightFiles.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <vector>

#include "logfile/LegacyWriter.hpp"
#include "logfile/OutputFile.hpp"
#include "ostrelLog/SensorColumns.hpp"
#include "simulation/FlightPlan.hpp"
#include "simulation/FlightSimulation.hpp"

namespace logtool {

namespace {

constexpr double LONGEST_SECONDS = 100.0 * 3600.0;
constexpr int HIGHEST_RATE = 10'000;
// Steps are counted in an int, and the number behind the last step must fit too.
constexpr double MOST_STEPS = std::numeric_limits<int>::max();

/// The flight's steps, rounded to the nearest number; at least one.
double stepCount(const FlightOptions& options) {
  return std::max(1.0, std::floor(options.seconds * options.rate + 0.5));
}

/// Whether a header's value would end at this character.
bool endsValue(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte <= ' ' || byte == 0x7F || c == ',' || c == ':';
}

/// The two logs while they are written.
class FlightFiles {
 public:
  explicit FlightFiles(const FlightOptions& flightOptions)
      : options(flightOptions),
        steps(static_cast<int>(stepCount(options))),
        calls(simulation::planFlight(steps, options.rate)),
        samplesFile(options.name + ".cont"),
        callsFile(options.name + ".events"),
        samples(columns.registry) {}

  std::optional<Fault> write() {
    if (auto fault = begin()) return fault;
    // The short log comes first, so that a call that the library lacks is noticed before the long work.
    if (auto fault = writeCalls()) return fault;
    if (auto fault = writeSamples()) return fault;
    return keep();
  }

  MadeFlight made() const {
    return {samplesFile.path, callsFile.path, steps, samples.columnCount(), calls.size()};
  }

 private:
  std::optional<Fault> begin() {
    const LogOrigin origin{
        "simulated flight, " + std::to_string(steps) + " steps, seed " + std::to_string(options.seed),
        options.rate, options.variant};
    // Both are opened before anything is written, so that a wrong path is noticed at once.
    if (auto fault = faultOf(samplesFile.path, samplesFile.open())) return fault;
    if (auto fault = faultOf(callsFile.path, callsFile.open())) return fault;
    if (auto fault = faultOf(samplesFile.path, samples.begin(samplesFile, origin))) return fault;
    return faultOf(callsFile.path, events.begin(callsFile, origin));
  }

  std::optional<Fault> writeCalls() {
    for (const ApiCall& call : calls) {
      // The plan is fixed, but the library decides which calls exist, and it may be another version.
      const int result = events.write(call);
      if (result == -ENOSYS) {
        return Fault{callsFile.path, "step " + std::to_string(call.step) +
                                         ": the flight-control library has no call " + call.signature()};
      }
      if (auto fault = faultOf(callsFile.path, result)) return fault;
    }
    return std::nullopt;
  }

  std::optional<Fault> writeSamples() {
    simulation::FlightSimulation flight(options.rate, options.seed);
    auto next = calls.begin();
    for (columns.index = 0; columns.index < steps; ++columns.index) {
      // The plan ends with a call behind the last sample, which is written but never obeyed.
      for (; next != calls.end() && next->step <= columns.index; ++next) flight.call(*next);
      flight.step(columns.sensors);
      if (auto fault = faultOf(samplesFile.path, samples.write())) return fault;
    }
    return std::nullopt;
  }

  /// Closes both files before either is kept: half a flight is of no use.
  std::optional<Fault> keep() {
    if (auto fault = faultOf(samplesFile.path, samplesFile.close())) return fault;
    if (auto fault = faultOf(callsFile.path, callsFile.close())) return fault;
    if (auto fault = faultOf(samplesFile.path, samplesFile.keep())) return fault;
    return faultOf(callsFile.path, callsFile.keep());
  }

  const FlightOptions& options;
  const int steps;
  const std::vector<ApiCall> calls;
  SensorColumns columns;
  OutputFile samplesFile;
  OutputFile callsFile;
  LegacyContinuousWriter samples;
  LegacyEventWriter events;
};

}  // namespace

std::string optionsFault(const FlightOptions& options) {
  // "dir/" would make hidden files named by their endings alone.
  if (std::filesystem::path(options.name).filename().empty()) return "NAME: must name a file";
  // Written so that NaN fails too.
  if (!(options.seconds > 0.0 && options.seconds <= LONGEST_SECONDS)) {
    return "--seconds: must be more than 0 and at most 360000";
  }
  if (options.rate < 1 || options.rate > HIGHEST_RATE) return "--rate: must be from 1 to 10000";
  if (stepCount(options) > MOST_STEPS) return "--seconds: more than 2147483647 steps at this rate";
  if (options.variant.empty() || std::any_of(options.variant.begin(), options.variant.end(), endsValue)) {
    return "--variant: must be a word without blanks, ',', ':' and control characters";
  }
  return {};
}

std::variant<MadeFlight, Fault> makeFlight(const FlightOptions& options) {
  FlightFiles files(options);
  if (auto fault = files.write()) return *fault;
  return files.made();
}

}  // namespace logtool
