#include "ostrelLog/compare/SectionPairs.hpp"

#include <map>

#include "ostrelLog/compare/DiffPlan.hpp"

namespace logtool {

namespace {

/// What matters of a section, under whichever descriptions it appears in its log.
struct Section {
  bool hasSamples = false;
  bool selected = false;  ///< whether one of its variables is
};

using Sections = std::map<std::string, Section>;

/// The sections of a blackbox log, which is read to its end; none of a legacy log.
Sections sectionsOf(LogSource& source, const Selection& selection) {
  Sections sections;
  if (source.kind != LogKind::BLACKBOX) return sections;
  // The samples have to be read too, since an empty section is described like any other.
  for (Record record{}; source.next(record);) sections[record.layout->name].hasSamples = true;
  for (const auto& layout : source.layouts()) {
    Section& section = sections[layout->name];
    // A section may be described again with other variables: one description that fits is enough.
    section.selected = section.selected || selectsFrom(source.kind, *layout, selection);
  }
  return sections;
}

/// The names of the sections with samples; one without a value for a legacy log, which is like one section.
std::vector<std::optional<std::string>> sampledIn(const LogSource& source, const Sections& sections) {
  if (source.kind != LogKind::BLACKBOX) return {std::nullopt};
  std::vector<std::optional<std::string>> names;
  for (const auto& [name, section] : sections) {
    if (section.hasSamples) names.emplace_back(name);
  }
  return names;
}

/// Why a legacy log can't be compared with this blackbox log: it has not one section with samples.
Fault notOneSection(const std::string& file, const std::vector<std::optional<std::string>>& sampled) {
  if (sampled.empty()) return {file, "has no section with samples"};
  std::string names;
  for (const auto& name : sampled) names += (names.empty() ? "" : ", ") + *name;
  return {file, "has several sections with samples, choose one with --section: " + names};
}

/// Sorts out by their names the sections of one of the logs.
void pairByName(Side side, const LogPair<Sections>& sections, SectionPairs& result) {
  const Sections& others = sections[otherThan(side)];
  for (const auto& [name, section] : sections[side]) {
    const auto found = others.find(name);
    const bool known = found != others.end();
    const Section other = known ? found->second : Section();
    // One log's samples are enough: that the other log has none of them is a difference.
    if (!(section.hasSamples || other.hasSamples) || !(section.selected || other.selected)) continue;
    if (!known) {
      result.alone[side].push_back(name);
    } else if (side == Side::A) {  // once for both logs
      result.pairs.push_back({name, name});
    }
  }
}

}  // namespace

SectionPairs pairSections(const LogPair<LogSource*>& sources, const Selection& selection) {
  const LogPair<Sections> sections{sectionsOf(*sources.a, selection), sectionsOf(*sources.b, selection)};
  const auto sampledA = sampledIn(*sources.a, sections.a);
  const auto sampledB = sampledIn(*sources.b, sections.b);
  SectionPairs result;
  // Recorders may name the same data differently, and with one section each there is no doubt.
  if (sampledA.size() == 1 && sampledB.size() == 1) {
    result.pairs.push_back({sampledA.front(), sampledB.front()});
  } else if (sources.a->kind != LogKind::BLACKBOX) {
    result.fault = notOneSection(sources.b->file, sampledB);
  } else if (sources.b->kind != LogKind::BLACKBOX) {
    result.fault = notOneSection(sources.a->file, sampledA);
  } else {
    for (const Side side : SIDES) pairByName(side, sections, result);
  }
  return result;
}

}  // namespace logtool
