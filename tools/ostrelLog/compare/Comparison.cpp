#include "ostrelLog/compare/Comparison.hpp"

#include <algorithm>
#include <memory>
#include <utility>

#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/compare/SectionComparison.hpp"
#include "ostrelLog/compare/SectionPairs.hpp"

namespace logtool {

namespace {

using Sources = LogPair<std::unique_ptr<LogSource>>;

/// Opens both logs; a fault when one of them can't be opened.
std::optional<Fault> open(const LogPair<std::string>& files, Sources& sources) {
  for (const Side side : SIDES) {
    std::string reason;
    sources[side] = openLog(files[side], reason);
    if (!sources[side]) return Fault{files[side], reason};
  }
  return std::nullopt;
}

/// Whether the selection takes nothing of what was compared.
bool isEmpty(const SectionDiff& part, bool ofCalls) {
  if (ofCalls) return part.logs.a.records + part.logs.b.records == 0;
  return part.sharedVariables.empty() && part.logs.a.variablesAlone.empty() &&
         part.logs.b.variablesAlone.empty();
}

/// The comparison of two logs while it is made.
class LogComparison {
 public:
  LogComparison(const LogPair<std::string>& files, const CompareOptions& compareOptions)
      : options(compareOptions) {
    result.files = files;
  }

  DiffResult compare() {
    result.fault = compareAll();
    return std::move(result);
  }

 private:
  /// The fault that keeps the logs from being compared; none when they have been.
  std::optional<Fault> compareAll() {
    if (auto fault = open(result.files, sources)) return fault;
    result.ofCalls = sources.a->kind == LogKind::EVENTS;
    // Continuous logs and blackbox logs both hold samples by step, so they can be compared with each other.
    if (result.ofCalls != (sources.b->kind == LogKind::EVENTS)) {
      return Fault{result.files.b, "can't be compared: only one of the two is an event log"};
    }
    const bool haveSections = sources.a->kind == LogKind::BLACKBOX || sources.b->kind == LogKind::BLACKBOX;
    if (options.sections.a && !haveSections) return Fault{"--section", "none of the logs has sections"};
    SectionPairs sections = choose();
    if (sections.fault) return sections.fault;
    result.sectionsAlone = std::move(sections.alone);
    for (const SectionNames& names : sections.pairs) {
      // A source only reads forward, so each pair of sections starts with fresh ones.
      if (auto fault = open(result.files, sources)) return fault;
      result.parts.push_back(compareSections({sources.a.get(), sources.b.get()}, names, options));
      for (const Side side : SIDES) {
        result.ends[side] = sources[side]->end();
        result.unusual[side] = sources[side]->unusual();
      }
      // Checked after the reading, because a blackbox log may describe a section anywhere before its first
      // sample.
      if (auto fault = missingSection(names)) return fault;
    }
    // A mistyped pattern must not end as "same".
    const bool nothing =
        result.sectionsAlone.a.empty() && result.sectionsAlone.b.empty() &&
        std::all_of(result.parts.begin(), result.parts.end(),
                    [this](const SectionDiff& part) { return isEmpty(part, result.ofCalls); });
    if (nothing && !options.selection.only.empty()) {
      return Fault{"--only", "names nothing that the logs hold"};
    }
    return std::nullopt;
  }

  /// The sections to be compared: those of the options, or all that match.
  SectionPairs choose() {
    if (!options.sections.a) {
      SectionPairs sections = pairSections({sources.a.get(), sources.b.get()}, options.selection);
      for (const Side side : SIDES) {
        // Kept from this reading, in case there is no pair and so no other one.
        if (sources[side]->kind == LogKind::BLACKBOX) result.ends[side] = sources[side]->end();
      }
      return sections;
    }
    SectionNames names = options.sections;
    for (const Side side : SIDES) {
      // `--section` is about blackbox logs; next to one, a legacy log takes part as a whole.
      if (sources[side]->kind != LogKind::BLACKBOX) names[side] = std::nullopt;
    }
    return {{names}, {}, std::nullopt};
  }

  /// The fault of a section that its log, which has been read, does not have.
  std::optional<Fault> missingSection(const SectionNames& names) const {
    for (const Side side : SIDES) {
      const auto& name = names[side];
      const auto& layouts = sources[side]->layouts();
      if (name && std::none_of(layouts.begin(), layouts.end(),
                               [&name](const auto& layout) { return layout->name == name; })) {
        return Fault{result.files[side], "has no section " + *name};
      }
    }
    return std::nullopt;
  }

  const CompareOptions& options;
  Sources sources;
  DiffResult result;
};

}  // namespace

DiffResult compare(const LogPair<std::string>& files, const CompareOptions& options) {
  return LogComparison(files, options).compare();
}

}  // namespace logtool
