#include "ostrelLog/verbs/Diff.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/DiffPlan.hpp"
#include "ostrelLog/LogCursor.hpp"
#include "ostrelLog/Report.hpp"

namespace {

constexpr std::array<const char*, 2> LOG_NAMES = {"A", "B"};

constexpr std::size_t NAMES_LISTED = 8;
/// Bounds the memory for logs that change their sections all the time.
constexpr std::size_t MAX_PLANS = 256;

/// The differences of one variable.
struct Tally {
  std::uint64_t records = 0;  ///< that differ in it
  /// Absolute; infinite when a difference is no number. NaN for what has no difference to measure.
  long double largest = std::numeric_limits<long double>::quiet_NaN();
  std::int64_t firstIndex = 0;
};

struct Alone {
  std::uint64_t count = 0;
  std::int64_t firstIndex = 0;
};

/// Compares two logs from their first records to their ends.
class Comparison {
 public:
  Comparison(const DiffOptions& diffOptions, const Selection& selected, LogSource& a, LogSource& b)
      : options(diffOptions),
        selection(selected),
        logs{LogCursor(a, {diffOptions.section, diffOptions.byRecord}, selected),
             LogCursor(b, {diffOptions.section, diffOptions.byRecord}, selected)} {
    while (logs[A].present || logs[B].present) {
      if (!logs[B].present || (logs[A].present && logs[A].record.index < logs[B].record.index)) {
        passAlone(A);
      } else if (!logs[A].present || logs[B].record.index < logs[A].record.index) {
        passAlone(B);
      } else {
        comparePair();
        logs[A].next();
        logs[B].next();
      }
    }
    // Without a pair, the variables are still to be compared.
    if (plans.empty() && !ofEvents() && logs[A].layout() != nullptr && logs[B].layout() != nullptr) {
      planFor(*logs[A].layout(), *logs[B].layout());
    }
  }

  /// Whether the logs hold what is to be compared; reported when not.
  bool hasSubject() const {
    for (const LogCursor& log : logs) {
      const bool named = log.source.kind == LogKind::BLACKBOX && !options.section.empty();
      if (named && log.layout() == nullptr) {
        return report(log.source.file, "has no section " + options.section);
      }
    }
    const bool nothing = ofEvents() ? logs[A].count + logs[B].count == 0
                                    : namesShared.empty() && namesAlone[A].empty() && namesAlone[B].empty();
    return options.only.empty() || !nothing || report("--only", "names nothing that the logs hold");
  }

  bool same() const {
    return tallies.empty() && alone[A].count + alone[B].count == 0 && namesAlone[A].empty() &&
           namesAlone[B].empty();
  }

  /// Says what was found; `whole` when both logs are.
  void show(bool whole) const;

 private:
  bool ofEvents() const { return logs[A].source.kind == LogKind::EVENTS; }

  void passAlone(std::size_t which) {
    LogCursor& log = logs[which];
    const std::string name = ofEvents() ? "call of " + log.record.layout->name : "step";
    if (alone[which].count++ == 0) alone[which].firstIndex = log.record.index;
    if (first.empty()) {
      first = "index " + std::to_string(log.record.index) + ", a " + name + " only in " + LOG_NAMES[which];
    }
    log.next();
  }

  void comparePair() {
    const RecordLayout& layoutA = *logs[A].record.layout;
    const RecordLayout& layoutB = *logs[B].record.layout;
    ++pairs;
    if (ofEvents() && layoutA.name != layoutB.name) {
      count("call", std::numeric_limits<long double>::quiet_NaN());
      if (first.empty()) setFirst("call", layoutA.name, layoutB.name);
      return;
    }
    for (const SharedVariable& variable : planFor(layoutA, layoutB).shared) compareVariable(variable);
  }

  void compareVariable(const SharedVariable& variable) {
    const Place& a = variable.places[A];
    const Place& b = variable.places[B];
    const unsigned char* valuesA = logs[A].record.values;
    const unsigned char* valuesB = logs[B].record.values;
    // Most values are the same to the bit, and then need no conversion.
    if (a.read == b.read &&
        std::memcmp(valuesA + a.offset, valuesB + b.offset, variable.elements * a.stride) == 0) {
      return;
    }
    std::size_t firstElement = variable.elements;
    long double largest = 0;
    for (std::size_t i = 0; i < variable.elements; ++i) {
      const long double valueA = a.value(valuesA, i);
      const long double valueB = b.value(valuesB, i);
      if (equal(valueA, valueB)) continue;
      const long double distance = std::fabs(valueA - valueB);
      largest = std::isnan(distance) ? HUGE_VALL : std::max(largest, distance);
      firstElement = std::min(firstElement, i);
    }
    if (firstElement == variable.elements) return;
    count(variable.name, largest);
    if (!first.empty()) return;
    const std::string element = variable.elements == 1 ? "" : "[" + std::to_string(firstElement) + "]";
    setFirst(variable.name + element, a.shown->print(a.value(valuesA, firstElement)),
             b.shown->print(b.value(valuesB, firstElement)));
  }

  bool equal(long double a, long double b) const {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    if (a == b) return options.tolerance.has_value() || std::signbit(a) == std::signbit(b);
    return options.tolerance.has_value() && std::fabs(a - b) <= *options.tolerance;
  }

  void count(const std::string& name, long double distance) {
    Tally& tally = tallies[name];
    if (tally.records++ == 0) tally.firstIndex = logs[A].record.index;
    tally.largest = std::fmax(tally.largest, distance);
  }

  void setFirst(const std::string& what, const std::string& valueA, const std::string& valueB) {
    first = "index " + std::to_string(logs[A].record.index) + ", " + what + ": " + valueA + " in A, " +
            valueB + " in B";
  }

  const DiffPlan& planFor(const RecordLayout& layoutA, const RecordLayout& layoutB) {
    const std::pair<const RecordLayout*, const RecordLayout*> key(&layoutA, &layoutB);
    const auto found = plans.find(key);
    if (found != plans.end()) return found->second;
    if (plans.size() == MAX_PLANS) plans.clear();
    DiffPlan& plan = plans[key];
    plan = makeDiffPlan({logs[A].source.kind, logs[B].source.kind}, {&layoutA, &layoutB}, selection);
    for (const SharedVariable& variable : plan.shared) namesShared.insert(variable.name);
    for (const std::size_t which : {A, B}) {
      namesAlone[which].insert(plan.alone[which].begin(), plan.alone[which].end());
    }
    return plan;
  }

  const DiffOptions& options;
  const Selection& selection;
  std::array<LogCursor, 2> logs;
  std::map<std::pair<const RecordLayout*, const RecordLayout*>, DiffPlan> plans;

  std::uint64_t pairs = 0;     ///< records that both logs have
  std::string first;           ///< the first difference in the order of the records
  std::array<Alone, 2> alone;  ///< records that only one log has
  std::array<std::set<std::string>, 2> namesAlone;
  std::set<std::string> namesShared;
  std::map<std::string, Tally> tallies;
};

void Comparison::show(bool whole) const {
  const char* noun = ofEvents() ? "calls" : "steps";
  const char* variables = ofEvents() ? "arguments" : "variables";
  if (same()) {
    std::cout << (whole ? "same: " : "no difference up to the end of what can be read: ") << pairs << " "
              << noun << ", " << namesShared.size() << " " << variables << "\n";
    return;
  }
  std::cout << "different\n";
  for (const std::size_t which : {A, B}) {
    std::cout << "  " << LOG_NAMES[which] << ": " << printable(logs[which].source.file) << ", "
              << logs[which].count << " " << noun << "\n";
  }
  if (!first.empty()) std::cout << "  first: " << printable(first) << "\n";
  for (const std::size_t which : {A, B}) {
    if (alone[which].count > 0) {
      std::cout << "  " << noun << " only in " << LOG_NAMES[which] << ": " << alone[which].count
                << ", from index " << alone[which].firstIndex << "\n";
    }
  }
  for (const std::size_t which : {A, B}) {
    if (namesAlone[which].empty()) continue;
    std::cout << "  " << variables << " only in " << LOG_NAMES[which] << ": " << namesAlone[which].size();
    std::size_t listed = 0;
    for (const std::string& name : namesAlone[which]) {
      std::cout << (listed == 0 ? " (" : ", ");
      if (listed++ == NAMES_LISTED) {
        std::cout << "...";
        break;
      }
      std::cout << printable(name);
    }
    std::cout << ")\n";
  }
  if (tallies.empty()) return;
  std::cout << "  " << std::setw(9) << noun << "  largest       from index  difference in\n";
  for (const auto& [name, tally] : tallies) {
    std::array<char, 32> largest{'-'};
    if (!std::isnan(tally.largest)) {
      std::to_chars(largest.data(), largest.data() + largest.size() - 1, static_cast<double>(tally.largest),
                    std::chars_format::general, 6);
    }
    std::cout << "  " << std::setw(9) << tally.records << "  " << std::left << std::setw(12)
              << largest.data() << std::right << std::setw(12) << tally.firstIndex << "  "
              << printable(name) << "\n";
  }
}

}  // namespace

int diffLogs(const DiffOptions& options) {
  std::array<std::unique_ptr<LogSource>, 2> sources;
  const std::array<std::string, 2> files = {options.fileA, options.fileB};
  for (const std::size_t which : {A, B}) {
    std::string fault;
    sources[which] = openLog(files[which], fault);
    if (!sources[which]) {
      report(files[which], fault);
      return EXIT_TROUBLE;
    }
  }
  if ((sources[A]->kind == LogKind::EVENTS) != (sources[B]->kind == LogKind::EVENTS)) {
    report(options.fileB, "can't be compared: only one of the two is an event log");
    return EXIT_TROUBLE;
  }

  const Selection selection(options.only);
  const Comparison comparison(options, selection, *sources[A], *sources[B]);
  bool whole = true;
  for (const auto& source : sources) {
    if (source->end().state != LogEnd::WHOLE) whole = report(source->file, source->end().text());
  }
  if (!comparison.hasSubject()) return EXIT_TROUBLE;
  comparison.show(whole);
  if (!finishOutput() || !whole) return EXIT_TROUBLE;
  return comparison.same() ? 0 : 1;
}
