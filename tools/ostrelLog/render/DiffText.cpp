#include "ostrelLog/render/DiffText.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <ostream>

namespace logtool {

namespace {

constexpr std::size_t NAMES_LISTED = 8;

const char* recordsNoun(const DiffResult& result) {
  return result.ofCalls ? "calls" : "steps";
}

const char* variablesNoun(const DiffResult& result) {
  return result.ofCalls ? "arguments" : "variables";
}

std::string firstText(const DiffResult& result) {
  const FirstDifference& first = *result.first;
  const std::string index = "index " + std::to_string(first.index) + ", ";
  if (first.onlyIn) {
    return index + "a " + (result.ofCalls ? "call of " + first.what : "step") + " only in " +
           nameOf(*first.onlyIn);
  }
  return index + first.what + ": " + first.values.a + " in A, " + first.values.b + " in B";
}

void writeRecordsAlone(std::ostream& out, const DiffResult& result, Side side) {
  const ComparedLog& log = result.logs[side];
  if (log.recordsAlone == 0) return;
  out << "  " << recordsNoun(result) << " only in " << nameOf(side) << ": " << log.recordsAlone
      << ", from index " << log.firstAlone << "\n";
}

void writeVariablesAlone(std::ostream& out, const DiffResult& result, Side side) {
  const std::set<std::string>& names = result.logs[side].variablesAlone;
  if (names.empty()) return;
  out << "  " << variablesNoun(result) << " only in " << nameOf(side) << ": " << names.size();
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
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), static_cast<double>(distance),
                                 std::chars_format::general, 6)
                       .ptr;
  return {text.data(), end};
}

void writeTable(std::ostream& out, const DiffResult& result) {
  if (result.differences.empty()) return;
  out << "  " << std::setw(9) << recordsNoun(result) << "  largest       from index  difference in\n";
  for (const auto& [name, difference] : result.differences) {
    out << "  " << std::setw(9) << difference.records << "  " << std::left << std::setw(12)
        << distanceText(difference.largest) << std::right << std::setw(12) << difference.firstIndex << "  "
        << printable(name) << "\n";
  }
}

void writeSame(std::ostream& out, const DiffResult& result) {
  out << (result.whole() ? "same: " : "no difference up to the end of what can be read: ") << result.pairs
      << " " << recordsNoun(result) << ", " << result.sharedVariables.size() << " " << variablesNoun(result)
      << "\n";
}

}  // namespace

void writeText(std::ostream& out, const DiffResult& result) {
  if (result.same()) return writeSame(out, result);
  out << "different\n";
  for (const Side side : SIDES) {
    const ComparedLog& log = result.logs[side];
    out << "  " << nameOf(side) << ": " << printable(log.file) << ", " << log.records << " "
        << recordsNoun(result) << "\n";
  }
  if (result.first) out << "  first: " << printable(firstText(result)) << "\n";
  for (const Side side : SIDES) writeRecordsAlone(out, result, side);
  for (const Side side : SIDES) writeVariablesAlone(out, result, side);
  writeTable(out, result);
}

}  // namespace logtool
