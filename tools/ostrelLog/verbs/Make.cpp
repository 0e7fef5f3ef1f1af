#include "ostrelLog/verbs/Make.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <limits>
#include <system_error>
#include <vector>

#include "logfile/LegacyWriter.hpp"
#include "logfile/OutputFile.hpp"
#include "ostrelLog/Report.hpp"
#include "registry/DataRegistry.hpp"
#include "registry/Introspect.hpp"
#include "simulation/FlightPlan.hpp"
#include "simulation/FlightSimulation.hpp"

namespace {

constexpr double LONGEST_SECONDS = 100.0 * 3600.0;
constexpr int HIGHEST_RATE = 10'000;
// Steps are counted, and the one behind the last is numbered, in an int.
constexpr double MOST_STEPS = std::numeric_limits<int>::max();

/// The flight's steps, to the nearest number: any flight has one.
double stepCount(const FlightOptions& options) {
  return std::max(1.0, std::floor(options.seconds * options.rate + 0.5));
}

/// Whether an operation on the file succeeded; a failure is reported.
bool succeeded(const OutputFile& file, int result) {
  return result >= 0 || report(file.path, std::generic_category().message(-result));
}

bool record(LegacyEventWriter& events, const OutputFile& file, const ApiCall& call) {
  const int result = events.write(call);
  if (result != -ENOSYS) return succeeded(file, result);
  return report(file.path, "step " + std::to_string(call.step) +
                               ": the flight-control library has no call " + call.signature());
}

}  // namespace

std::string optionsFault(const FlightOptions& options) {
  if (std::filesystem::path(options.name).filename().empty()) return "NAME: must name a file";
  // Put so that NaN fails too.
  if (!(options.seconds > 0.0 && options.seconds <= LONGEST_SECONDS)) {
    return "--seconds: must be more than 0 and at most 360000";
  }
  if (options.rate < 1 || options.rate > HIGHEST_RATE) return "--rate: must be from 1 to 10000";
  if (stepCount(options) > MOST_STEPS) return "--seconds: more than 2147483647 steps at this rate";
  // A header's value ends at each of these.
  const bool separates = std::any_of(options.variant.begin(), options.variant.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= ' ' || byte == 0x7F || c == ',' || c == ':';
  });
  if (options.variant.empty() || separates) {
    return "--variant: must be a word without blanks, ',', ':' and control characters";
  }
  return {};
}

int makeFlight(const FlightOptions& options) {
  const int steps = static_cast<int>(stepCount(options));
  int index = 0;
  sensors_data sensors{};
  DataRegistry registry;
  registry.reg<int>("index", &index);
  Registrator registrator(registry);
  introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
  registry.freeze();

  const LogOrigin origin{
      "simulated flight, " + std::to_string(steps) + " steps, seed " + std::to_string(options.seed),
      options.rate, options.variant};
  OutputFile samplesFile(options.name + ".cont");
  OutputFile callsFile(options.name + ".events");
  LegacyContinuousWriter samples(registry);
  LegacyEventWriter events;
  if (!succeeded(samplesFile, samplesFile.open()) || !succeeded(callsFile, callsFile.open()) ||
      !succeeded(samplesFile, samples.begin(samplesFile, origin)) ||
      !succeeded(callsFile, events.begin(callsFile, origin))) {
    return 1;
  }

  const std::vector<ApiCall> calls = planFlight(steps, options.rate);
  for (const ApiCall& call : calls) {
    if (!record(events, callsFile, call)) return 1;
  }
  FlightSimulation simulation(options.rate, options.seed);
  auto next = calls.begin();
  for (index = 0; index < steps; ++index) {
    for (; next != calls.end() && next->step <= index; ++next) simulation.call(*next);
    simulation.step(sensors);
    if (!succeeded(samplesFile, samples.write())) return 1;
  }
  if (!succeeded(samplesFile, samplesFile.close()) || !succeeded(callsFile, callsFile.close())) return 1;
  samplesFile.keep();
  callsFile.keep();

  std::cout << samplesFile.path << ": " << steps << " samples of " << samples.columnCount() << " columns, "
            << callsFile.path << ": " << calls.size() << " calls\n";
  return finishOutput() ? 0 : 1;
}
