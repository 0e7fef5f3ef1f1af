#include "ostrelLog/preflight/Preflight.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <limits>
#include <memory>
#include <variant>

#include "logfile/ErrorText.hpp"
#include "logfile/ReplayData.hpp"
#include "ostrelLog/preflight/Calls.hpp"
#include "ostrelLog/preflight/Library.hpp"
#include "ostrelLog/preflight/Samples.hpp"

namespace logtool {

namespace {

/// A log must be a file, which the replay can read once more. A missing one is told when it is opened.
std::optional<Fault> findNoFile(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(path, ignored);
  if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) return std::nullopt;
  return Fault{path, "not a regular file"};
}

/// Settles the hardware variant: the first source that names one.
std::optional<Fault> settleVariant(const Samples& samples, const Calls& calls, const Library& library,
                                   CheckResult& result) {
  if (!samples.variant.empty()) {
    result.variant = samples.variant;
    result.variantSource = "continuous log";
  } else if (!calls.variant.empty()) {
    result.variant = calls.variant;
    result.variantSource = "event log";
  } else if (library.hardware) {
    result.variant = *library.hardware;
    result.variantSource = "property ro.hardware";
  } else {
    return Fault{"hardware variant", "neither the logs nor the property ro.hardware name one"};
  }
  return std::nullopt;
}

/// Counts the samples behind one with which the replay ends.
void findSamplesBehindNegativeStep(Samples& samples) {
  // A replay does not get to the end of the log, so it says nothing of that.
  const std::size_t before = samples.findings.list.size();
  const std::int32_t step = samples.index();
  std::uint64_t count = 1;
  while (samples.next() >= 0) ++count;
  samples.findings.list.resize(before);
  samples.findings.loss("negative step", count,
                        "the replay ends at a sample of step " + std::to_string(step) + ": " +
                            counted(count, "sample") + " not replayed");
}

void findGaps(const IndexSummary& steps, const IndexSummary& told, Findings& findings) {
  if (told.gapCount > 0) {
    findings.loss("gaps", told.gapCount,
                  counted(told.gapCount, "gap") + ", " + counted(told.missing, "step") +
                      " missing, the first ones behind step " +
                      std::to_string(told.firstGaps.front().after));
  }
  if (const std::uint64_t untold = steps.missing - told.missing; untold > 0) {
    findings.note("gap behind step 0", untold,
                  counted(untold, "step") + " missing behind step 0, of which a replay says nothing");
  }
  if (steps.backwards > 0) {
    findings.note("steps going back", steps.backwards,
                  "the step goes back " + counted(steps.backwards, "time") +
                      ": the samples are replayed in the order of the log");
  }
}

/// Goes through both logs as the loop of a replay does.
void rehearse(Samples& samples, Calls& calls, CheckResult& result) {
  IndexSummary told;  // the gaps that a replay tells
  std::int32_t previous = 0;
  int ending = 0;
  while ((ending = samples.next()) >= 0 && samples.index() >= 0) {
    const std::int64_t jump = ReplayData::jump(previous, samples.index());
    if (jump > 0) told.addGap({previous, static_cast<std::uint64_t>(jump - 1)});
    previous = samples.index();
    result.steps.add(previous);
    calls.reach(previous);
  }
  if (ending >= 0) findSamplesBehindNegativeStep(samples);
  // When no step is run, no call is that of the step behind the last one.
  constexpr std::int64_t noStep = std::numeric_limits<std::int64_t>::min();
  calls.finish(result.steps.count > 0 ? std::int64_t{previous} + 1 : noStep);
  findGaps(result.steps, told, samples.findings);
}

}  // namespace

CheckResult::Verdict CheckResult::verdict() const {
  if (obstacle) return UNABLE;
  const bool anyLoss =
      std::any_of(findings.begin(), findings.end(), [](const Finding& finding) { return finding.loss; });
  return anyLoss ? LOSSES : LOSSLESS;
}

CheckResult check(const CheckOptions& options) {
  CheckResult result;
  for (const std::string& log : {options.continuous, options.events}) {
    if ((result.obstacle = findNoFile(log))) return result;
  }
  const auto answer = askLibrary(options.library);
  if (const auto* fault = std::get_if<Fault>(&answer)) {
    result.obstacle = *fault;
    return result;
  }
  const auto& library = std::get<Library>(answer);
  result.library = library.file;
  result.apis = library.apis.size();
  const auto samples = Samples::create(options.continuous, options.section);
  Calls calls(options.events, library.apis);
  if (!library.obstacles.empty()) {
    result.obstacle = library.obstacles.front();
  } else {
    result.obstacle = samples->open();
  }
  if (!result.obstacle) result.obstacle = calls.open();
  if (!result.obstacle) result.obstacle = settleVariant(*samples, calls, library, result);
  if (result.obstacle) return result;

  rehearse(*samples, calls, result);
  result.section = samples->section;
  result.hasIndex = samples->hasIndex;
  if (options.section && !result.section) {
    samples->findings.note("section of no use", 1,
                           "a legacy log has no sections: --section changes nothing");
  }
  result.sensors = samples->columns.registry.entryList.size();
  result.boundSensors = samples->boundSensors;
  result.calls = calls.recorded;
  result.callsMade = calls.made;
  for (Findings* each : {&samples->findings, &calls.findings}) {
    std::move(each->list.begin(), each->list.end(), std::back_inserter(result.findings));
  }
  return result;
}

}  // namespace logtool
