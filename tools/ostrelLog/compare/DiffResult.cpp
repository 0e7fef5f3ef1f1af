#include "ostrelLog/compare/DiffResult.hpp"

#include <algorithm>

namespace logtool {

bool SectionDiff::same() const {
  const auto hasAlone = [](const ComparedRecords& log) {
    return log.recordsAlone > 0 || !log.variablesAlone.empty();
  };
  return differences.empty() && !hasAlone(logs.a) && !hasAlone(logs.b);
}

std::optional<Side> SectionDiff::keptApartByGapsOf() const {
  if (logs.a.gaps == logs.b.gaps) return std::nullopt;
  for (const Side side : SIDES) {
    const ComparedRecords& log = logs[side];
    if (log.records == 0 || log.recordsAlone < log.records - log.recordsAlone) return std::nullopt;
  }
  return logs.a.gaps ? Side::A : Side::B;
}

bool DiffResult::same() const {
  return sectionsAlone.a.empty() && sectionsAlone.b.empty() &&
         std::all_of(parts.begin(), parts.end(), [](const SectionDiff& part) { return part.same(); });
}

bool DiffResult::whole() const {
  // What a replay makes of an unusual call depends on the library, not on the logs alone.
  return ends.a && ends.a->state == LogEnd::WHOLE && ends.b && ends.b->state == LogEnd::WHOLE &&
         unusual.a.empty() && unusual.b.empty();
}

const char* DiffResult::missingInCommon() const {
  if (parts.empty()) return "section with samples";
  bool havePairs = false;
  for (const SectionDiff& part : parts) {
    // A call is compared even when it has no arguments.
    if (part.pairs > 0 && (ofCalls || !part.sharedVariables.empty())) return nullptr;
    havePairs = havePairs || part.pairs > 0;
  }
  if (havePairs) return "variable";
  return ofCalls ? "call" : "step";
}

std::optional<Fault> DiffResult::trouble() const {
  if (fault) return fault;
  const char* const missing = missingInCommon();
  if (missing == nullptr) return std::nullopt;
  return Fault{files.a + ", " + files.b, std::string("nothing was compared: no ") + missing + " in common"};
}

DiffResult::Answer DiffResult::answer() const {
  if (!whole() || trouble()) return TROUBLE;
  return same() ? SAME : DIFFERENT;
}

}  // namespace logtool
