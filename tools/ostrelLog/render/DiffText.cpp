#include "ostrelLog/render/DiffText.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <utility>

namespace logtool {

namespace {

// Enough to recognise what is missing; logs of different versions can differ in very many names.
constexpr std::size_t NAMES_LISTED = 8;

/// The singular of what the records and their values are called, here and below.
const char* recordNoun(const DiffResult& result) {
  return result.ofCalls ? "call" : "step";
}

const char* variableNoun(const DiffResult& result) {
  return result.ofCalls ? "argument" : "variable";
}

/// The compared sections as a label and their names; both empty for logs without sections.
std::pair<const char*, std::string> sectionsText(const SectionNames& sections) {
  const auto& [a, b] = sections;
  if (a && b && *a != *b) return {"sections", printable(*a) + " in A, " + printable(*b) + " in B"};
  if (a && b) return {"section", printable(*a)};
  if (a) return {"section", printable(*a) + " in A"};
  if (b) return {"section", printable(*b) + " in B"};
  return {};
}

/// The first difference in one line. Names in it are still as in the log: the caller makes them printable.
std::string firstText(const DiffResult& result, const FirstDifference& first) {
  const std::string index = "index " + std::to_string(first.index) + ", ";
  if (first.onlyIn) {
    return index + "a " + (result.ofCalls ? "call of " + first.what : "step") + " only in " +
           nameOf(*first.onlyIn);
  }
  return index + first.what + ": " + first.values.a + " in A, " + first.values.b + " in B";
}

void writeRecordsAlone(std::ostream& out, const DiffResult& result, const SectionDiff& part, Side side) {
  const ComparedRecords& log = part.logs[side];
  if (log.recordsAlone == 0) return;
  out << "  " << recordNoun(result) << "s only in " << nameOf(side) << ": " << log.recordsAlone
      << ", from index " << log.firstAlone << "\n";
}

/// Names the first ones of what only one log has, such as its variables.
template <class Names>
void writeNamesAlone(std::ostream& out, const char* noun, const Names& names, Side side) {
  if (names.empty()) return;
  out << "  " << noun << "s only in " << nameOf(side) << ": " << names.size();
  std::size_t listed = 0;
  for (const std::string& name : names) {
    out << (listed == 0 ? " (" : ", ");
    if (listed++ == NAMES_LISTED) {
      out << "...";
      break;
    }
    out << printable(name);
  }
  out << ")\n";
}

/// The number with six digits; "-" for NaN, where there is nothing to measure.
std::string distanceText(long double distance) {
  if (std::isnan(distance)) return "-";
  // Room for the longest result, such as 1.23457e+308. std::to_chars ignores the locale and the format
  // that the stream has.
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), static_cast<double>(distance),
                                 std::chars_format::general, 6)
                       .ptr;
  return {text.data(), end};
}

void writeTable(std::ostream& out, const DiffResult& result, const SectionDiff& part) {
  if (part.differences.empty()) return;
  // The "s" of the plural stands in the ninth column, below which the numbers end.
  out << "  " << std::setw(8) << recordNoun(result) << "s  largest       from index  difference in\n";
  for (const auto& [name, difference] : part.differences) {
    out << "  " << std::setw(9) << difference.records << "  " << std::left << std::setw(12)
        << distanceText(difference.largest) << std::right << std::setw(12) << difference.firstIndex << "  "
        << printable(name) << "\n";
  }
}

/// How much was compared: "100 steps, 3 variables".
std::string comparedText(const DiffResult& result, const SectionDiff& part) {
  return counted(part.pairs, recordNoun(result)) + ", " +
         counted(part.sharedVariables.size(), variableNoun(result));
}

void writeSame(std::ostream& out, const DiffResult& result, const SectionDiff& part) {
  // The part of a damaged log that could not be read may differ.
  out << (result.whole() ? "same: " : "no difference up to the end of what can be read: ")
      << comparedText(result, part);
  const auto [label, names] = sectionsText(part.sections);
  if (!names.empty()) out << ", " << label << " " << names;
  out << "\n";
}

std::string recordsText(const DiffResult& result, const SectionDiff& part, Side side) {
  return counted(part.logs[side].records, recordNoun(result));
}

/// Writes the row with the sections. Of several pairs, each one's row also says what was compared.
void writeSections(std::ostream& out, const DiffResult& result, const SectionDiff& part) {
  const auto [label, names] = sectionsText(part.sections);
  if (names.empty()) return;
  out << "  " << label << ": " << names;
  // With a single pair, the rows of the files and the line "same" say it.
  if (result.parts.size() > 1) {
    out << (part.same() ? ", same: " + comparedText(result, part)
                        : ", " + recordsText(result, part, Side::A) + " in A, " +
                              recordsText(result, part, Side::B) + " in B");
  }
  out << "\n";
}

/// Suggests `--by-record` where gaps in one index keep the steps apart, as between a log with gaps and the
/// log of its replay.
void writeHint(std::ostream& out, const SectionDiff& part) {
  const auto gaps = part.keptApartByGapsOf();
  if (!gaps) return;
  out << "  hint: the index has gaps in " << nameOf(*gaps) << " and none in " << nameOf(otherThan(*gaps))
      << "; --by-record compares the steps by their number instead\n";
}

void writeDifferences(std::ostream& out, const DiffResult& result, const SectionDiff& part) {
  writeSections(out, result, part);
  if (part.first) out << "  first: " << printable(firstText(result, *part.first)) << "\n";
  for (const Side side : SIDES) writeRecordsAlone(out, result, part, side);
  writeHint(out, part);
  for (const Side side : SIDES) {
    writeNamesAlone(out, variableNoun(result), part.logs[side].variablesAlone, side);
  }
  writeTable(out, result, part);
}

}  // namespace

void writeText(std::ostream& out, const DiffResult& result) {
  if (result.same()) {
    for (const SectionDiff& part : result.parts) writeSame(out, result, part);
    return;
  }
  out << "different\n";
  for (const Side side : SIDES) {
    out << "  " << nameOf(side) << ": " << printable(result.files[side]);
    if (result.parts.size() == 1) out << ", " << recordsText(result, result.parts.front(), side);
    out << "\n";
  }
  for (const SectionDiff& part : result.parts) writeDifferences(out, result, part);
  for (const Side side : SIDES) writeNamesAlone(out, "section", result.sectionsAlone[side], side);
}

}  // namespace logtool
