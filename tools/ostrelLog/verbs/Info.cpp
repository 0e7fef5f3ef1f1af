#include "ostrelLog/verbs/Info.hpp"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "logfile/scan/ElementType.hpp"
#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/Report.hpp"

namespace {

// Keeps the sequence of the keys as written here.
using Json = nlohmann::ordered_json;

enum ExitStatus { EXIT_WHOLE = 0, EXIT_UNREADABLE = 1, EXIT_NOT_WHOLE = 3 };

constexpr std::size_t GAPS_LISTED = 5;

/// Steps that are missing from a log.
struct Gap {
  std::int64_t after;     ///< index of the last step before them
  std::uint64_t missing;  ///< their number
};

/// What the step indices of records, in their order, come to.
struct IndexSummary {
  void add(std::int64_t index) {
    if (count++ == 0) {
      first = index;
    } else if (index == last) {
      ++repeated;
    } else if (index < last) {
      ++backwards;
    } else if (index - last > 1) {
      const Gap gap{last, static_cast<std::uint64_t>(index - last - 1)};
      ++gapCount;
      missing += gap.missing;
      if (gap.missing > largest.missing) largest = gap;
      if (firstGaps.size() < GAPS_LISTED) firstGaps.push_back(gap);
    }
    last = index;
  }

  std::uint64_t count = 0;
  std::int64_t first = 0;
  std::int64_t last = 0;
  std::uint64_t repeated = 0;   ///< times that an index is that of the record before
  std::uint64_t backwards = 0;  ///< times that an index is below it
  std::uint64_t gapCount = 0;
  std::uint64_t missing = 0;
  Gap largest{0, 0};
  std::vector<Gap> firstGaps;
};

/// One log, read to its end.
struct LogSummary {
  explicit LogSummary(LogSource& log) : source(log) {
    for (Record record{}; log.next(record);) {
      all.add(record.index);
      byLayout[record.layout].add(record.index);
    }
  }

  /// What the records of one layout come to.
  IndexSummary of(const RecordLayout& layout) const {
    const auto found = byLayout.find(&layout);
    return found == byLayout.end() ? IndexSummary{} : found->second;
  }

  const LogSource& source;
  IndexSummary all;
  std::map<const RecordLayout*, IndexSummary> byLayout;
};

std::string counted(std::uint64_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

/// The types of variables with how many are of each, the most frequent one first.
std::string typeCounts(const std::vector<telemetry::VarDesc>& variables) {
  std::map<std::string, std::size_t> counts;
  for (const telemetry::VarDesc& variable : variables) ++counts[typeName(variable)];
  std::vector<std::pair<std::string, std::size_t>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  std::string text;
  for (const auto& [type, count] : sorted) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + type;
  }
  return text;
}

/// One row of a description: what it tells of, and that.
std::ostream& row(const char* label) {
  return std::cout << "  " << std::left << std::setw(11) << label << std::right;
}

void showIndex(const IndexSummary& index) {
  if (index.count == 0) return;
  row("index") << index.first << " to " << index.last;
  if (index.gapCount == 0) {
    std::cout << ", no gaps";
  } else {
    std::cout << ", " << counted(index.gapCount, "gap") << ", " << counted(index.missing, "step")
              << " missing, the largest of " << index.largest.missing << " after " << index.largest.after;
  }
  if (index.repeated > 0) std::cout << ", repeated " << counted(index.repeated, "time");
  if (index.backwards > 0) std::cout << ", going back " << counted(index.backwards, "time");
  std::cout << "\n";
  if (index.gapCount == 0) return;
  row("gaps");
  const char* separator = "";
  for (const Gap& gap : index.firstGaps) {
    std::cout << separator << gap.missing << " after " << gap.after;
    separator = ", ";
  }
  std::cout << (index.gapCount > index.firstGaps.size() ? ", ...\n" : "\n");
}

/// A layout's variables, records and indices.
void showLayout(const RecordLayout& layout, const IndexSummary& index, const InfoOptions& options) {
  row(layout.name.empty() ? "columns" : "variables")
      << layout.variables.size() << ": " << typeCounts(layout.variables) << "\n";
  if (options.columns) {
    for (const telemetry::VarDesc& variable : layout.variables) {
      std::cout << "    " << std::left << std::setw(8) << typeName(variable) << " " << std::right
                << printable(variable.name) << "\n";
    }
  }
  row("records") << index.count << (layout.hasIndex ? "\n" : ", without an index\n");
  if (layout.hasIndex) showIndex(index);
}

void showCalls(const LogSummary& log) {
  row("calls") << log.all.count;
  if (log.all.count > 0) std::cout << ", steps " << log.all.first << " to " << log.all.last;
  if (log.all.backwards > 0) std::cout << ", going back " << counted(log.all.backwards, "time");
  std::cout << "\n";
  for (const auto& api : log.source.layouts()) {
    std::cout << std::setw(11) << log.of(*api).count << "  " << printable(api->name) << "(";
    const char* separator = "";
    for (const telemetry::VarDesc& argument : api->variables) {
      std::cout << separator << printable(argument.name);
      separator = ", ";
    }
    std::cout << ")\n";
  }
}

void showText(const LogSummary& log, const InfoOptions& options) {
  static const std::map<LogKind, const char*> KINDS = {{LogKind::CONTINUOUS, "legacy continuous log"},
                                                       {LogKind::EVENTS, "legacy event log"},
                                                       {LogKind::BLACKBOX, "blackbox log"}};
  std::cout << printable(log.source.file) << ": " << KINDS.at(log.source.kind) << "\n";
  row("variant") << (log.source.variant.empty() ? "not named" : printable(log.source.variant)) << "\n";
  if (log.source.kind == LogKind::EVENTS) {
    showCalls(log);
  } else {
    for (const auto& layout : log.source.layouts()) {
      if (log.source.kind == LogKind::BLACKBOX) row("section") << printable(layout->name) << "\n";
      showLayout(*layout, log.of(*layout), options);
    }
  }
  row("end") << log.source.end().text() << "\n";
}

Json gapJson(const Gap& gap) {
  return {{"after", gap.after}, {"missing", gap.missing}};
}

Json indexJson(const IndexSummary& index) {
  if (index.count == 0) return nullptr;
  Json listed = Json::array();
  for (const Gap& gap : index.firstGaps) listed.push_back(gapJson(gap));
  Json gaps = {{"count", index.gapCount}, {"missing", index.missing}, {"first", listed}};
  gaps["largest"] = index.gapCount == 0 ? Json(nullptr) : gapJson(index.largest);
  return {{"first", index.first},
          {"last", index.last},
          {"repeated", index.repeated},
          {"backwards", index.backwards},
          {"gaps", gaps}};
}

Json variablesJson(const std::vector<telemetry::VarDesc>& variables) {
  Json list = Json::array();
  for (const telemetry::VarDesc& variable : variables) {
    const ElementType* type = elementType(variable);
    list.push_back({{"name", variable.name},
                    {"type", type != nullptr ? Json(type->name) : Json(nullptr)},
                    {"elementBytes", variable.elementBytes},
                    {"elements", variable.count}});
  }
  return list;
}

/// What only this kind of log has.
void addContents(const LogSummary& log, Json& object) {
  if (log.source.kind == LogKind::CONTINUOUS) {
    const RecordLayout& layout = *log.source.layouts().front();
    object["columns"] = variablesJson(layout.variables);
    object["index"] = layout.hasIndex ? indexJson(log.all) : Json(nullptr);
    return;
  }
  const bool events = log.source.kind == LogKind::EVENTS;
  Json parts = Json::array();
  for (const auto& layout : log.source.layouts()) {
    const IndexSummary summary = log.of(*layout);
    Json part = {{"name", layout->name}, {"records", summary.count}};
    part[events ? "arguments" : "variables"] = variablesJson(layout->variables);
    if (!events) part["index"] = layout->hasIndex ? indexJson(summary) : Json(nullptr);
    parts.push_back(std::move(part));
  }
  object[events ? "apis" : "sections"] = std::move(parts);
  if (events && log.all.count > 0) {
    object["steps"] = {{"first", log.all.first}, {"last", log.all.last}, {"backwards", log.all.backwards}};
  }
}

Json toJson(const LogSummary& log) {
  static const std::map<LogKind, const char*> KINDS = {
      {LogKind::CONTINUOUS, "continuous"}, {LogKind::EVENTS, "events"}, {LogKind::BLACKBOX, "blackbox"}};
  static const std::map<LogEnd::State, const char*> STATES = {{LogEnd::WHOLE, "whole"},
                                                              {LogEnd::CUT, "cut"},
                                                              {LogEnd::DAMAGED, "damaged"},
                                                              {LogEnd::UNREADABLE, "unreadable"}};
  const LogEnd& end = log.source.end();
  Json object = {{"file", log.source.file},
                 {"kind", KINDS.at(log.source.kind)},
                 {"variant", log.source.variant},
                 {"records", log.all.count}};
  addContents(log, object);
  object["end"] = {{"state", STATES.at(end.state)},
                   {"byte", end.byte ? Json(*end.byte) : Json(nullptr)},
                   {"reason", end.reason}};
  return object;
}

}  // namespace

int describeLogs(const InfoOptions& options) {
  Json list = Json::array();
  std::set<int> results;
  for (const std::string& file : options.files) {
    std::string fault;
    const std::unique_ptr<LogSource> source = openLog(file, fault);
    if (!source) {
      report(file, fault);
      list.push_back({{"file", file}, {"error", fault}});
      results.insert(EXIT_UNREADABLE);
      continue;
    }
    const LogSummary log(*source);
    if (options.json) {
      list.push_back(toJson(log));
    } else {
      showText(log, options);
    }
    const LogEnd& end = source->end();
    if (end.state == LogEnd::UNREADABLE) report(file, end.text());
    if (end.state != LogEnd::WHOLE)
      results.insert(end.state == LogEnd::UNREADABLE ? EXIT_UNREADABLE : EXIT_NOT_WHOLE);
  }
  // A damaged log's names need not be text.
  if (options.json) std::cout << list.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
  if (!finishOutput()) return EXIT_UNREADABLE;
  return results.empty() ? EXIT_WHOLE : *results.begin();
}
