#include "ostrelLog/summary/LogSummary.hpp"

#include <algorithm>
#include <map>

namespace logtool {

void IndexSummary::add(std::int64_t index) {
  if (count++ == 0) {
    first = index;
    highest = index;
  } else if (index == last) {
    ++repeated;
  } else if (index < last) {
    ++backwards;
  } else if (index - last > 1) {  // indices have 32 bits: the difference always fits
    addGap({last, static_cast<std::uint64_t>(index - last - 1)});
  }
  last = index;
  // All records behind a step back count until the highest step is reached again.
  if (index < highest) ++late;
  highest = std::max(highest, index);
}

void IndexSummary::addGap(const Gap& gap) {
  ++gapCount;
  missing += gap.missing;
  // Only a larger one replaces it, so that of equal gaps the first one is named.
  if (gap.missing > largest.missing) largest = gap;
  if (firstGaps.size() < GAPS_LISTED) firstGaps.push_back(gap);
}

LogSummary summarize(LogSource& log, const std::function<void(const Record&)>& onRecord) {
  LogSummary summary{log.file, log.kind, {}, {}, {}, {}, {}};
  // Sections and APIs alternate in a log. Each one has its own sequence of steps, and so its own gaps.
  std::map<const RecordLayout*, IndexSummary> byLayout;
  for (Record record{}; log.next(record);) {
    summary.records.add(record.index);
    byLayout[record.layout].add(record.index);
    if (onRecord) onRecord(record);
  }
  // Only at the end: a blackbox log names its variant and its sections as it is read.
  summary.variant = log.variant;
  for (const auto& layout : log.layouts()) summary.layouts.push_back({*layout, byLayout[layout.get()]});
  summary.unusual = log.unusual();
  summary.end = log.end();
  return summary;
}

std::set<std::string> sampledSections(const LogSummary& summary) {
  // A section that was described anew has several layouts.
  std::set<std::string> names;
  for (const LayoutSummary& each : summary.layouts) {
    if (each.records.count > 0) names.insert(each.layout.name);
  }
  return names;
}

Fault notOneSection(const std::string& file, const std::set<std::string>& sampled) {
  if (sampled.empty()) return {file, "has no section with samples"};
  std::string names;
  for (const std::string& name : sampled) names += (names.empty() ? "" : ", ") + name;
  return {file, "has several sections with samples, choose one with --section: " + names};
}

}  // namespace logtool
