#include "ostrelLog/compare/SectionPairs.hpp"

#include <map>
#include <set>

#include "ostrelLog/compare/DiffPlan.hpp"
#include "ostrelLog/summary/LogSummary.hpp"

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

std::set<std::string> sampledIn(const Sections& sections) {
  std::set<std::string> names;
  for (const auto& [name, section] : sections) {
    if (section.hasSamples) names.insert(name);
  }
  return names;
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
  const LogPair<std::set<std::string>> sampled{sampledIn(sections.a), sampledIn(sections.b)};
  // A legacy log is like one section, without a name.
  const auto isLegacy = [&](Side side) { return sources[side]->kind != LogKind::BLACKBOX; };
  const auto isOne = [&](Side side) { return isLegacy(side) || sampled[side].size() == 1; };
  const auto only = [&](Side side) {
    return isLegacy(side) ? std::nullopt : std::make_optional(*sampled[side].begin());
  };
  SectionPairs result;
  // Recorders may name the same data differently, and with one section each there is no doubt.
  if (isOne(Side::A) && isOne(Side::B)) {
    result.pairs.push_back({only(Side::A), only(Side::B)});
  } else if (isLegacy(Side::A)) {
    result.fault = notOneSection(sources.b->file, sampled.b);
  } else if (isLegacy(Side::B)) {
    result.fault = notOneSection(sources.a->file, sampled.a);
  } else {
    for (const Side side : SIDES) pairByName(side, sections, result);
  }
  return result;
}

}  // namespace logtool
