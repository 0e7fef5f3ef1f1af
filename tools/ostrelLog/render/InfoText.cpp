#include "ostrelLog/render/InfoText.hpp"

#include <algorithm>
#include <iomanip>
#include <map>
#include <ostream>
#include <string>
#include <utility>

#include "logfile/scan/ElementType.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/render/Row.hpp"

namespace logtool {

namespace {

/// The types of the variables, each with its number of variables, the most frequent one first.
std::string typeCounts(const std::vector<LogVariable>& variables) {
  std::map<std::string, std::size_t> counts;
  for (const LogVariable& variable : variables) ++counts[typeName(variable)];
  std::vector<std::pair<std::string, std::size_t>> sorted(counts.begin(), counts.end());
  // Stable, so that types of the same frequency stay in the order of their names.
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  std::string text;
  for (const auto& [type, count] : sorted) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + type;
  }
  return text;
}

const char* kindText(LogKind kind) {
  switch (kind) {
    case LogKind::CONTINUOUS: return "legacy continuous log";
    case LogKind::EVENTS: return "legacy event log";
    default: return "blackbox log";
  }
}

/// Ends a row; says first how often the index goes back, where it does.
void writeBackwards(std::ostream& out, const IndexSummary& records) {
  if (records.backwards > 0) out << ", going back " << counted(records.backwards, "time");
  out << "\n";
}

/// Lists the gaps that the summary has kept; "..." stands for the others.
void writeGaps(std::ostream& out, const IndexSummary& records) {
  row(out, "gaps");
  const char* separator = "";
  for (const Gap& gap : records.firstGaps) {
    out << separator << gap.missing << " after " << gap.after;
    separator = ", ";
  }
  out << (records.gapCount > records.firstGaps.size() ? ", ...\n" : "\n");
}

void writeIndex(std::ostream& out, const IndexSummary& records) {
  if (records.count == 0) return;
  row(out, "index") << records.first << " to " << records.last;
  if (records.gapCount == 0) {
    out << ", no gaps";
  } else {
    out << ", " << counted(records.gapCount, "gap") << ", " << counted(records.missing, "step")
        << " missing, the largest of " << records.largest.missing << " after " << records.largest.after;
  }
  if (records.repeated > 0) out << ", repeated " << counted(records.repeated, "time");
  writeBackwards(out, records);
  if (records.gapCount > 0) writeGaps(out, records);
}

/// The variables, records and indices of a continuous log or of a section.
void writeLayout(std::ostream& out, const LayoutSummary& part, bool everyColumn) {
  const RecordLayout& layout = part.layout;
  row(out, layout.name.empty() ? "columns" : "variables")
      << layout.variables.size() << ": " << typeCounts(layout.variables) << "\n";
  if (everyColumn) {
    for (const LogVariable& variable : layout.variables) {
      out << "    " << std::left << std::setw(8) << typeName(variable) << " " << std::right
          << printable(variable.name) << "\n";
    }
  }
  row(out, "records") << part.records.count << (layout.hasIndex ? "\n" : ", without an index\n");
  if (layout.hasIndex) writeIndex(out, part.records);
}

void writeCalls(std::ostream& out, const LogSummary& log) {
  row(out, "calls") << log.records.count;
  if (log.records.count > 0) out << ", steps " << log.records.first << " to " << log.records.last;
  writeBackwards(out, log.records);
  if (log.records.late > 0) {
    // The log is not damaged, but its replay makes these calls at other steps than those recorded.
    const char* const them = log.records.late == 1 ? "it" : "them";
    row(out, "late") << counted(log.records.late, "call") << " behind a higher step: a replay makes "
                     << them << " at the highest step before " << them
                     << ", or not at all if the flight ends before it\n";
  }
  for (const LayoutSummary& api : log.layouts) {
    // As wide as the labels of the other rows, so that the names line up with their texts.
    out << std::setw(11) << api.records.count << "  " << printable(api.layout.name) << "(";
    const char* separator = "";
    for (const LogVariable& argument : api.layout.variables) {
      out << separator << printable(argument.name);
      separator = ", ";
    }
    out << ")\n";
  }
  for (const auto& [what, count] : log.unusual) {
    row(out, "unusual") << counted(count, "call") << " " << what << "\n";
  }
}

}  // namespace

void writeText(std::ostream& out, const LogSummary& log, bool everyColumn) {
  out << printable(log.file) << ": " << kindText(log.kind) << "\n";
  row(out, "variant") << (log.variant.empty() ? "not named" : printable(log.variant)) << "\n";
  if (log.kind == LogKind::EVENTS) {
    writeCalls(out, log);
  } else {
    for (const LayoutSummary& part : log.layouts) {
      // A continuous log is like one section without a name.
      if (log.kind == LogKind::BLACKBOX) row(out, "section") << printable(part.layout.name) << "\n";
      writeLayout(out, part, everyColumn);
    }
  }
  row(out, "end") << log.end.text();
  if (log.end.remainder > 0) out << ", " << counted(log.end.remainder, "byte") << " of a record behind it";
  out << "\n";
}

}  // namespace logtool
