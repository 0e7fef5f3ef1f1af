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
  // With gaps in both logs or in neither, numbering the records would not help.
  if (logs.a.gaps == logs.b.gaps || logs.a.recordsAlone == 0 || logs.b.recordsAlone == 0) {
    return std::nullopt;
  }
  return logs.a.gaps ? Side::A : Side::B;
}

bool DiffResult::same() const {
  return sectionsAlone.a.empty() && sectionsAlone.b.empty() &&
         std::all_of(parts.begin(), parts.end(), [](const SectionDiff& part) { return part.same(); });
}

bool DiffResult::whole() const {
  // What a replay makes of an unusual call depends on the library, not on the logs alone.
  return ends.a && ends.a->reached() && ends.b && ends.b->reached() && unusual.a.empty() &&
         unusual.b.empty();
}

// Names the outermost thing that is missing, since the others follow from it.
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
  // A fault is the cause; that nothing was compared is only its consequence.
  if (fault) return fault;
  const char* const missing = missingInCommon();
  if (missing == nullptr) return std::nullopt;
  return Fault{files.a + ", " + files.b, std::string("nothing was compared: no ") + missing + " in common"};
}

DiffResult::Answer DiffResult::answer() const {
  // This holds even where differences were found: what is known of a part does not answer for the whole
  // log.
  if (!whole() || trouble()) return TROUBLE;
  return same() ? SAME : DIFFERENT;
}

}  // namespace logtool
