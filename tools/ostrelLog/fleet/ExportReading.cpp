#include "ostrelLog/fleet/ExportReading.hpp"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/compare/DiffPlan.hpp"
#include "ostrelLog/fleet/Digest.hpp"

namespace logtool {

namespace {

/// The digest of one section while it is read.
struct Section {
  Digest digest;
  std::uint64_t steps = 0;
  bool selected = false;  ///< whether it has a variable that is compared
};

/// The selected bytes of the records of one layout.
struct Layout {
  struct Run {
    std::size_t offset;
    std::size_t bytes;
  };

  Section* section = nullptr;
  std::vector<Run> runs;  // neighbours in one
};

class ExportReader {
 public:
  ExportReader(LogSource& log, const Selection& selected) : source(log), selection(selected) {}

  ExportReading read(const std::optional<std::string>& only) {
    for (Record record{}; source.next(record);) {
      ++result.records;
      if (!only || record.layout->name == *only) take(record);
    }
    for (const auto& layout : source.layouts()) {
      for (const auto& variable : layout->variables) result.names.insert(variable.name);
    }
    if (source.end().state != LogEnd::WHOLE) result.fault = source.end().text();
    Digest digest;
    for (const auto& [name, section] : sections) {
      result.steps = std::max(result.steps, section.steps);
      if (!section.selected) continue;
      digest.add(name);
      digest.add(section.digest.hex());
    }
    result.digest = digest.hex();
    result.variables = variables.size();
    return std::move(result);
  }

 private:
  void take(const Record& record) {
    const Layout& layout = layoutOf(*record.layout);
    Section& section = *layout.section;
    ++section.steps;
    if (layout.runs.empty()) return;
    section.digest.add(&record.index, sizeof(record.index));
    for (const Layout::Run& run : layout.runs) section.digest.add(record.values + run.offset, run.bytes);
  }

  const Layout& layoutOf(const RecordLayout& described) {
    const auto [found, isNew] = layouts.try_emplace(&described);
    Layout& layout = found->second;
    if (!isNew) return layout;
    layout.section = &sections[described.name];
    const DiffPlan plan = makeDiffPlan({source.kind, source.kind}, {&described, &described}, selection);
    if (plan.shared.empty()) return layout;
    layout.section->selected = true;
    for (const SharedVariable& variable : plan.shared) {
      const Place& place = variable.places.a;
      const std::size_t bytes = place.stride * variable.elements;
      variables.insert(described.name + "." + variable.name);
      layout.section->digest.add(variable.name + " " + place.shown->name);
      if (!layout.runs.empty() && layout.runs.back().offset + layout.runs.back().bytes == place.offset) {
        layout.runs.back().bytes += bytes;
      } else {
        layout.runs.push_back({place.offset, bytes});
      }
    }
    return layout;
  }

  LogSource& source;
  const Selection& selection;
  std::map<const RecordLayout*, Layout> layouts;
  std::map<std::string, Section> sections;
  std::set<std::string> variables;  // with their sections
  ExportReading result;
};

}  // namespace

ExportReading readExport(const std::string& path, const Selection& selection,
                         const std::optional<std::string>& section) {
  std::string fault;
  const auto source = openLog(path, fault);
  if (!source) {
    ExportReading none;
    none.fault = fault;
    return none;
  }
  return ExportReader(*source, selection).read(section);
}

}  // namespace logtool
