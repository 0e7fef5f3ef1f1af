#include "ostrelLog/render/CheckText.hpp"

#include <algorithm>
#include <ostream>

#include "ostrelLog/render/Row.hpp"

namespace logtool {

namespace {

void writeVerdict(std::ostream& out, const CheckResult& result) {
  if (result.obstacle) {
    out << "cannot run: " << printable(result.obstacle->where) << ": " << printable(result.obstacle->reason)
        << "\n";
    return;
  }
  const auto losses = std::count_if(result.findings.begin(), result.findings.end(),
                                    [](const Finding& finding) { return finding.loss; });
  const std::string steps = counted(result.steps.count, "step") + ", ";
  if (losses == 0) {
    out << "lossless: " << steps << counted(result.callsMade, "call") << "\n";
  } else {
    out << "losses: " << losses << ", " << steps << result.callsMade << " of "
        << counted(result.calls, "call") << "\n";
  }
}

void writeFindings(std::ostream& out, const CheckResult& result, bool losses) {
  for (const Finding& finding : result.findings) {
    if (finding.loss != losses) continue;
    row(out, losses ? "loss" : "note")
        << printable(finding.file) << ": " << printable(finding.text) << "\n";
    // A text that names nothing in particular ends with a colon, and the names follow.
    if (finding.text.back() != ':') continue;
    for (const std::string& name : finding.names) out << "    " << printable(name) << "\n";
  }
}

}  // namespace

void writeText(std::ostream& out, const CheckResult& result) {
  writeVerdict(out, result);
  if (result.obstacle) return;
  writeFindings(out, result, true);
  writeFindings(out, result, false);
  row(out, "library") << printable(result.library) << ", " << counted(result.apis, "API") << "\n";
  row(out, "variant") << printable(result.variant) << ", from the " << result.variantSource << "\n";
  if (result.section) row(out, "section") << printable(*result.section) << "\n";
  row(out, "sensors") << result.boundSensors << " of " << result.sensors << " values\n";
  if (!result.hasIndex) {
    row(out, "index") << "none: every sample is replayed as step 0\n";
  } else if (result.steps.count > 0) {
    row(out, "index") << result.steps.first << " to " << result.steps.last << "\n";
  }
}

}  // namespace logtool
