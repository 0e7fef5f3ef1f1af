#include "ostrelLog/compare/SectionComparison.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <utility>

#include "ostrelLog/LogCursor.hpp"
#include "ostrelLog/compare/DiffPlan.hpp"

namespace logtool {

namespace {

/// Bounds the memory for logs that change their sections all the time.
constexpr std::size_t MAX_PLANS = 256;

constexpr long double NO_DISTANCE = std::numeric_limits<long double>::quiet_NaN();

/// The comparison of two sections while it is made: walks through both logs side by side, as in a merge.
class SectionComparison {
 public:
  SectionComparison(const LogPair<LogSource*>& sources, const SectionNames& sections,
                    const CompareOptions& compareOptions)
      : options(compareOptions),
        ofCalls(sources.a->kind == LogKind::EVENTS),
        logs{LogCursor(*sources.a, options.selection, sections.a, options.byRecord),
             LogCursor(*sources.b, options.selection, sections.b, options.byRecord)} {
    result.sections = sections;
  }

  SectionDiff compare() {
    while (logs.a.present || logs.b.present) {
      if (comesFirst(logs.a, logs.b)) {
        passAlone(Side::A);
      } else if (comesFirst(logs.b, logs.a)) {
        passAlone(Side::B);
      } else {
        comparePair();
        logs.a.next();
        logs.b.next();
      }
    }
    compareLayoutsWithoutRecords();
    for (const Side side : SIDES) {
      const LogCursor& log = logs[side];
      ComparedRecords& compared = result.logs[side];
      compared.records = log.count;
      // Most steps have no call, so gaps between calls say nothing.
      compared.gaps = log.gaps && !ofCalls;
    }
    return std::move(result);
  }

 private:
  /// Whether the present record of `log` has no counterpart, since the other log is at its end or beyond.
  static bool comesFirst(const LogCursor& log, const LogCursor& other) {
    return log.present && (!other.present || log.record.index < other.record.index);
  }

  void passAlone(Side side) {
    LogCursor& log = logs[side];
    const std::int64_t index = log.record.index;
    ComparedRecords& compared = result.logs[side];
    if (compared.recordsAlone++ == 0) compared.firstAlone = index;
    if (!result.first) result.first = {index, ofCalls ? log.record.layout->name : "", side, {}};
    log.next();
  }

  void comparePair() {
    const RecordLayout& layoutA = *logs.a.record.layout;
    const RecordLayout& layoutB = *logs.b.record.layout;
    ++result.pairs;
    // Different APIs have no arguments in common. The calls are a pair all the same, so that the next ones
    // stay lined up.
    if (ofCalls && layoutA.name != layoutB.name) {
      count("call", NO_DISTANCE);
      ++result.pairsThatDiffer;
      if (!result.first) setFirst("call", {layoutA.name, layoutB.name});
      return;
    }
    bool differs = false;
    for (const SharedVariable& variable : planFor(layoutA, layoutB).shared) {
      differs = compareVariable(variable) || differs;
    }
    if (differs) ++result.pairsThatDiffer;
  }

  /// Whether the variable differs in the present pair of records.
  bool compareVariable(const SharedVariable& variable) {
    const auto& [a, b] = variable.places;
    const unsigned char* valuesA = logs.a.record.values;
    const unsigned char* valuesB = logs.b.record.values;
    // Most values are the same to the bit. Comparing them so is much faster than converting each one.
    if (a.read == b.read &&
        std::memcmp(valuesA + a.offset, valuesB + b.offset, variable.elements * a.stride) == 0) {
      return false;
    }
    std::optional<std::size_t> firstElement;
    long double largest = 0;
    for (std::size_t i = 0; i < variable.elements; ++i) {
      const long double valueA = a.value(valuesA, i);
      const long double valueB = b.value(valuesB, i);
      if (options.equal(valueA, valueB)) continue;
      if (!firstElement) firstElement = i;
      const long double distance = std::fabs(valueA - valueB);
      // NaN against a number is worse than any distance, and std::max would lose it.
      largest = std::isnan(distance) ? HUGE_VALL : std::max(largest, distance);
    }
    if (!firstElement) return false;
    count(variable.name, largest);
    if (!result.first) setFirst(variable, *firstElement);
    return true;
  }

  void setFirst(const SharedVariable& variable, std::size_t element) {
    const auto& [a, b] = variable.places;
    const std::string name = variable.elements == 1 ? variable.name : elementName(variable.name, element);
    const long double valueA = a.value(logs.a.record.values, element);
    const long double valueB = b.value(logs.b.record.values, element);
    setFirst(name, {valueText(valueA, *a.shown, *b.shown), valueText(valueB, *b.shown, *a.shown)});
  }

  /// A float that meets a double is printed with all digits of a double, and both with their types: the
  /// shortest texts of 0.1 as a float and of 0.1 as a double are the same, although the values differ.
  static std::string valueText(long double value, const ElementType& type, const ElementType& other) {
    const std::string suffix = std::string(" (") + type.name + ")";
    if (type.type == TLM_VAR_DOUBLE && other.type == TLM_VAR_FLOAT) return type.print(value) + suffix;
    if (type.type == TLM_VAR_FLOAT && other.type == TLM_VAR_DOUBLE) return other.print(value) + suffix;
    return type.print(value);
  }

  void setFirst(const std::string& what, const LogPair<std::string>& values) {
    result.first = {logs.a.record.index, what, std::nullopt, values};
  }

  void count(const std::string& name, long double distance) {
    VariableDifference& difference = result.differences[name];
    if (difference.records++ == 0) difference.firstIndex = logs.a.record.index;
    // std::fmax prefers a number to NaN, so that the NaN of the start gives way to the first distance.
    difference.largest = std::fmax(difference.largest, distance);
  }

  /// Without a pair of records, it still counts which variables only one of the logs has.
  void compareLayoutsWithoutRecords() {
    if (!plans.empty() || ofCalls) return;
    const RecordLayout* layoutA = logs.a.layout();
    const RecordLayout* layoutB = logs.b.layout();
    if (layoutA != nullptr && layoutB != nullptr) planFor(*layoutA, *layoutB);
  }

  /// A plan belongs to two layouts, since a section of a blackbox log may change in the middle.
  const DiffPlan& planFor(const RecordLayout& layoutA, const RecordLayout& layoutB) {
    const std::pair<const RecordLayout*, const RecordLayout*> key(&layoutA, &layoutB);
    const auto found = plans.find(key);
    if (found != plans.end()) return found->second;
    // No sensible log gets here, so it is enough to start over. Nobody uses a plan for more than one
    // record.
    if (plans.size() == MAX_PLANS) plans.clear();
    DiffPlan& plan = plans[key];
    plan = makeDiffPlan({logs.a.source.kind, logs.b.source.kind}, {&layoutA, &layoutB}, options.selection);
    // Once for each plan and not for each record, which would take most of the time.
    for (const SharedVariable& variable : plan.shared) result.sharedVariables.insert(variable.name);
    for (const Side side : SIDES) {
      result.logs[side].variablesAlone.insert(plan.alone[side].begin(), plan.alone[side].end());
    }
    return plan;
  }

  const CompareOptions& options;
  const bool ofCalls;
  LogPair<LogCursor> logs;
  std::map<std::pair<const RecordLayout*, const RecordLayout*>, DiffPlan> plans;
  SectionDiff result;
};

}  // namespace

SectionDiff compareSections(const LogPair<LogSource*>& sources, const SectionNames& sections,
                            const CompareOptions& options) {
  return SectionComparison(sources, sections, options).compare();
}

}  // namespace logtool
