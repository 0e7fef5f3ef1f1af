#include "ostrelLog/plot/PlotData.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <utility>

#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/LogCursor.hpp"
#include "ostrelLog/compare/Comparison.hpp"
#include "ostrelLog/compare/DiffPlan.hpp"
#include "ostrelLog/convert/SampleClock.hpp"
#include "ostrelLog/render/InfoText.hpp"
#include "ostrelLog/summary/LogSummary.hpp"

namespace logtool {

namespace {

/// Steps on either side of the first difference that are kept one by one, and shown at first.
constexpr std::int64_t STEPS_AROUND = 200;
/// Bound the memory for logs with very many variables or calls. Nobody can look at so many.
constexpr std::size_t MOST_VARIABLES = 2'000;
constexpr std::size_t MOST_CALLS = 5'000;
/// Bounds the memory for logs that change their sections all the time.
constexpr std::size_t MOST_PLANS = 256;

constexpr double NANOSECONDS_A_SECOND = 1e9;
/// The axis of larger values, with some room on both sides, could not be held by a double.
constexpr long double LARGEST_DRAWN = 1e300L;
constexpr double NO_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// Turns records, or pairs of records, into rows of values.
class Sampler {
 public:
  Sampler(PlotData& plotData, const CompareOptions& compareOptions, const LogPair<LogKind>& logKinds)
      : data(plotData), options(compareOptions), kinds(logKinds), reduction(plotData.interest) {}

  /// With two logs: plots only what differs, the variable or element of the first difference before others.
  void plotOnly(const SectionDiff& part) {
    differences = &part.differences;
    if (part.first && !part.first->onlyIn) positionOf(part.first->what);
  }

  /// Learns the variables of the records, which are taken in later; null where a log has none.
  void meet(const LogPair<const Record*>& records) {
    for (const Side side : SIDES) {
      if (records[side] == nullptr) continue;
      layouts[side] = records[side]->layout;
      if (!clocks[side]) clocks[side].emplace(std::nullopt, records[side]);
    }
  }

  /// Takes in the record of one or of both logs with the same index; null where a log has none.
  void add(const LogPair<const Record*>& records) {
    const Record& record = records.a != nullptr ? *records.a : *records.b;
    meet(records);
    data.gaps.add(record.index);
    // A log without any record has no variables to show beside the other's.
    if (layouts.a == nullptr || layouts.b == nullptr) return;
    const std::vector<Target>& targets = planFor(layouts);
    sample.index = record.index;
    sample.values.assign(data.names.size() * data.valuesOfEach, NO_NUMBER);
    for (const Target& target : targets) take(target, records);
    // The clock is that of A, or of B in a step that A does not have.
    SampleClock& clock = records.a != nullptr ? *clocks.a : *clocks.b;
    sample.seconds =
        clock.usesStamps() ? static_cast<double>(clock.ofSample(record)) / NANOSECONDS_A_SECOND : NO_NUMBER;
    reduction.add(sample);
  }

  void finish() {
    data.rows = reduction.finish();
    data.outsideWidth = reduction.outsideWidth();
    data.insideWidth = reduction.insideWidth();
    // A variable that appears later has no value in the rows before.
    for (ReducedRow& row : data.rows) row.values.resize(data.names.size() * data.valuesOfEach);
    if (leftOut > 0)
      data.notes.push_back(counted(leftOut, "more variable") + " left out; choose with --only");
  }

  /// After finish(): which of one log's variables vary.
  const std::vector<bool>& varying() const { return reduction.varying(); }

 private:
  /// Where an element of a variable goes.
  struct Target {
    SharedVariable variable;
    std::size_t element;
    std::size_t position;  ///< in the list of all variables
  };

  void take(const Target& target, const LogPair<const Record*>& records) {
    const std::size_t first = target.position * data.valuesOfEach;
    LogPair<long double> both{NO_NUMBER, NO_NUMBER};
    for (const Side side : SIDES) {
      if (records[side] == nullptr) continue;
      both[side] = target.variable.places[side].value(records[side]->values, target.element);
      if (!(std::fabs(both[side]) < LARGEST_DRAWN)) data.undrawn[target.position] = true;
    }
    sample.values[first] = static_cast<double>(both.a);
    if (data.valuesOfEach == 1) return;
    sample.values[first + 1] = static_cast<double>(both.b);
    sample.values[first + 2] = static_cast<double>(both.b - both.a);
    const bool isPair = records.a != nullptr && records.b != nullptr;
    if (!isPair || differs[target.position] || options.equal(both.a, both.b)) return;
    differs[target.position] = true;
    data.differing.push_back(target.position);
  }

  const std::vector<Target>& planFor(const LogPair<const RecordLayout*>& layoutPair) {
    const std::pair<const RecordLayout*, const RecordLayout*> key(layoutPair.a, layoutPair.b);
    const auto found = plans.find(key);
    if (found != plans.end()) return found->second;
    // Nobody uses a plan for more than one record.
    if (plans.size() == MOST_PLANS) plans.clear();
    std::vector<Target>& targets = plans[key];
    for (const SharedVariable& variable : makeDiffPlan(kinds, layoutPair, options.selection).shared) {
      if (differences != nullptr && differences->count(variable.name) == 0) continue;
      for (std::size_t i = 0; i < variable.elements; ++i) {
        const auto position =
            positionOf(variable.elements == 1 ? variable.name : elementName(variable.name, i));
        if (!position) continue;
        targets.push_back({variable, i, *position});
        for (const Side side : SIDES) {
          if (variable.places[side].shown->type != TLM_VAR_FLOAT) data.floats[*position][side] = false;
        }
      }
    }
    return targets;
  }

  /// The position in the list of variables of one with this name, which is added to it; none when the list
  /// is full.
  std::optional<std::size_t> positionOf(const std::string& name) {
    const auto found = positions.find(name);
    if (found != positions.end()) return found->second;
    if (data.names.size() == MOST_VARIABLES) {
      ++leftOut;
      return std::nullopt;
    }
    data.names.push_back(name);
    data.floats.push_back({true, true});
    data.undrawn.push_back(false);
    differs.push_back(false);
    return positions[name] = data.names.size() - 1;
  }

  PlotData& data;
  const CompareOptions& options;
  const LogPair<LogKind> kinds;
  Reduction reduction;
  const std::map<std::string, VariableDifference>* differences = nullptr;  ///< of what is plotted, by name
  std::vector<bool> differs;                               ///< of each variable: in a record so far
  LogPair<std::optional<SampleClock>> clocks;              ///< made with the first record of each log
  LogPair<const RecordLayout*> layouts{nullptr, nullptr};  ///< of the last record of each log
  std::map<std::pair<const RecordLayout*, const RecordLayout*>, std::vector<Target>> plans;
  std::map<std::string, std::size_t> positions;
  Sample sample{};
  std::uint64_t leftOut = 0;
};

/// Reads everything for one page.
class PlotReader {
 public:
  explicit PlotReader(const PlotOptions& plotOptions) : options(plotOptions) {}

  std::variant<PlotData, Fault> read() {
    const bool two = !options.files.b.empty();
    const auto nameOf = [](const std::string& path) {
      return std::filesystem::path(path).filename().string();
    };
    data.title = nameOf(options.files.a);
    if (two) data.title += " and " + nameOf(options.files.b);
    if (!options.title.empty()) data.title = options.title;
    if (options.from || options.to) {
      data.view = {options.from.value_or(std::numeric_limits<std::int32_t>::min()),
                   options.to.value_or(std::numeric_limits<std::int32_t>::max())};
      data.interest = {*data.view};
    }
    if (auto fault = two ? readTwo() : readOne()) return *fault;
    if (!options.events.empty()) {
      if (auto fault = readCalls()) return *fault;
    }
    return std::move(data);
  }

 private:
  std::optional<Fault> readOne() {
    const std::string& file = options.files.a;
    std::string reason;
    const auto source = openLog(file, reason);
    if (!source) return Fault{file, reason};
    if (source->kind == LogKind::EVENTS) return noSamples(file);
    const bool haveSections = source->kind == LogKind::BLACKBOX;
    ofReplay = haveSections;
    if (options.comparison.sections.a && !haveSections)
      return Fault{"--section", "the log has no sections"};
    Sampler sampler(data, options.comparison, {source->kind, source->kind});
    std::optional<std::string> section = options.comparison.sections.a;
    const LogSummary summary = summarize(*source, [&](const Record& record) {
      const std::string& name = record.layout->name;
      if (haveSections && section.value_or(name) != name) return;
      section = name;
      sampler.add({&record, &record});
    });
    sampler.finish();
    std::ostringstream text;
    writeText(text, summary, false);
    data.info = text.str();
    const std::set<std::string> sampled = sampledSections(summary);
    if (!options.comparison.sections.a && sampled.size() > 1) return notOneSection(file, sampled);
    if (summary.end.state == LogEnd::UNREADABLE) return Fault{file, summary.end.text()};
    if (data.rows.empty()) {
      return Fault{file, "has no samples to plot" + (section ? " in a section " + *section : "")};
    }
    if (data.names.empty()) return Fault{"--only", "names nothing that the log holds"};
    if (auto fault = missingView()) return fault;
    noteEnd(file, summary.end);
    data.panels = choosePanels(data.names, sampler.varying(), options.comparison.selection.only);
    for (const std::string& pattern : options.comparison.selection.only) {
      if (choosePanels(data.names, sampler.varying(), {pattern}).empty())
        data.notes.push_back("--only names nothing that the log holds: " + pattern);
    }
    return std::nullopt;
  }

  std::optional<Fault> readTwo() {
    data.valuesOfEach = 3;
    data.diff = compare(options.files, options.comparison);
    const DiffResult& diff = *data.diff;
    if (diff.ofCalls) return noSamples(options.files.a);
    if (auto trouble = diff.trouble()) return trouble;
    for (const Side side : SIDES) {
      if (diff.ends[side]) noteEnd(diff.files[side], *diff.ends[side]);
    }
    if (options.comparison.tolerance) {
      std::ostringstream tolerance;
      tolerance << "Differences up to " << *options.comparison.tolerance << " count as none (--tolerance)";
      data.notes.push_back(tolerance.str());
    }
    for (const std::string& pattern : options.comparison.selection.only) {
      data.notes.push_back("Compared is only what the pattern names (--only): " + pattern);
    }
    const auto part = std::find_if(diff.parts.begin(), diff.parts.end(),
                                   [](const SectionDiff& each) { return !each.same(); });
    if (part == diff.parts.end()) return std::nullopt;
    data.drawnPart = static_cast<std::size_t>(part - diff.parts.begin());
    if (part->first) lookAt(part->first->index);
    if (auto fault = walk(*part)) return fault;
    if (auto fault = missingView()) return fault;
    for (const std::size_t variable : data.differing) {
      if (data.panels.size() == PANELS_AT_FIRST) break;
      data.panels.push_back({data.names[variable], {variable}});
    }
    if (const std::size_t more = data.differing.size() - data.panels.size(); more > 0) {
      data.notes.push_back(counted(more, "more variable") +
                           " or elements of arrays differ: choose them in the table or add them by name");
    }
    return std::nullopt;
  }

  /// The fault of asked steps that are not in the logs.
  std::optional<Fault> missingView() const {
    const auto isAsked = [this](const ReducedRow& row) {
      return row.last >= options.from.value_or(row.last) && row.first <= options.to.value_or(row.first);
    };
    if (data.rows.empty() || std::any_of(data.rows.begin(), data.rows.end(), isAsked)) return std::nullopt;
    return Fault{"--from, --to", "no such step"};
  }

  /// Keeps the steps around the first difference, besides those that the options name.
  void lookAt(std::int64_t first) {
    IndexRange around{first - STEPS_AROUND, first + STEPS_AROUND};
    if (!data.view) {
      data.view = around;
      data.interest = {around};
      return;
    }
    const IndexRange& asked = *data.view;
    if (around.to < asked.from) {
      data.interest = {around, asked};
    } else if (asked.to < around.from) {
      data.interest = {asked, around};
    } else {
      data.interest = {{std::min(around.from, asked.from), std::max(around.to, asked.to)}};
    }
  }

  /// Goes through the differing sections of both logs, side by side in the order of their indices.
  std::optional<Fault> walk(const SectionDiff& part) {
    LogPair<std::unique_ptr<LogSource>> sources;
    for (const Side side : SIDES) {
      std::string reason;
      sources[side] = openLog(options.files[side], reason);
      if (!sources[side]) return Fault{options.files[side], reason};
    }
    const CompareOptions& comparison = options.comparison;
    ofReplay = sources.a->kind == LogKind::BLACKBOX || sources.b->kind == LogKind::BLACKBOX;
    Sampler sampler(data, comparison, {sources.a->kind, sources.b->kind});
    sampler.plotOnly(part);
    LogCursor a(*sources.a, comparison.selection, part.sections.a, comparison.byRecord);
    LogCursor b(*sources.b, comparison.selection, part.sections.b, comparison.byRecord);
    // The first steps may be in one log only.
    sampler.meet({a.present ? &a.record : nullptr, b.present ? &b.record : nullptr});
    while (a.present || b.present) {
      const bool takeA = a.present && (!b.present || a.record.index <= b.record.index);
      const bool takeB = b.present && (!a.present || b.record.index <= a.record.index);
      sampler.add({takeA ? &a.record : nullptr, takeB ? &b.record : nullptr});
      if (takeA) a.next();
      if (takeB) b.next();
    }
    sampler.finish();
    return std::nullopt;
  }

  std::optional<Fault> readCalls() {
    std::string reason;
    const auto source = openLog(options.events, reason);
    if (!source) return Fault{options.events, reason};
    if (source->kind != LogKind::EVENTS) return Fault{options.events, "is no event log"};
    std::uint64_t leftOut = 0;
    const Selection chosen = options.comparison.selection.ofCalls(source->layouts());
    for (Record record{}; source->next(record);) {
      if (!chosen.has(*record.layout)) continue;
      if (data.calls.size() == MOST_CALLS) {
        ++leftOut;
      } else {
        data.calls.push_back({record.index, textOf(record)});
      }
    }
    if (leftOut > 0) data.notes.push_back(counted(leftOut, "more call") + " left out");
    if (ofReplay) {
      data.notes.push_back(
          "A replay counts its steps without gaps: if the flight has gaps, calls behind them are marked "
          "too late");
    }
    noteEnd(options.events, source->end());
    return std::nullopt;
  }

  static std::string textOf(const Record& call) {
    std::string arguments;
    std::size_t offset = 0;
    for (const LogVariable& argument : call.layout->variables) {
      const ElementType* type = elementType(argument);
      if (type != nullptr) {
        arguments += (arguments.empty() ? "" : ", ") + argument.name + "=" +
                     type->print(type->read(call.values + offset));
      }
      offset += argument.elementBytes * argument.count;
    }
    return call.layout->name + "(" + arguments + ")";
  }

  static Fault noSamples(const std::string& file) {
    return {file, "is an event log, which has no curves: give it with --events, next to a log of samples"};
  }

  void noteEnd(const std::string& file, const LogEnd& end) {
    if (!end.reached()) data.incomplete.push_back({file, end.text()});
  }

  const PlotOptions& options;
  PlotData data;
  bool ofReplay = false;  ///< the steps of a log are those that a replay has counted
};

}  // namespace

std::variant<PlotData, Fault> readPlot(const PlotOptions& options) {
  return PlotReader(options).read();
}

}  // namespace logtool
