#include "ostrelLog/compare/CompareOptions.hpp"

#include <CLI/CLI.hpp>
#include <cmath>
#include <string>

#include "ostrelLog/Number.hpp"

namespace logtool {

namespace {

/// What is wrong with a tolerance; empty when nothing is, or when the text is no number at all.
std::string toleranceFault(const std::string& text) {
  double tolerance = 0;
  if (!parseNumber(text, tolerance) || tolerance >= 0.0) return "";
  return "must be 0 or more";  // also for NaN
}

/// The sections that `--section` names for the two logs.
SectionNames sectionNames(const std::string& text) {
  // A plain name stands for both logs. The first `=` separates, so the name of section A cannot contain
  // one.
  const std::size_t separator = text.find('=');
  if (separator == std::string::npos && !text.empty()) return {text, text};
  if (text.empty() || separator == 0 || separator + 1 == text.size()) {
    throw CLI::ValidationError("--section: must be NAME or A=B");
  }
  return {text.substr(0, separator), text.substr(separator + 1)};
}

}  // namespace

void CompareOptions::addTo(CLI::App& command) {
  addNumber(command, "--tolerance", tolerance, "Largest absolute difference that counts as none")
      ->type_name("T")
      ->check(CLI::Validator(toleranceFault, ""));
  selection.addTo(command);
  const auto takeSections = [this](const CLI::results_t& texts) {
    sections = sectionNames(texts.back());
    return true;
  };
  command
      .add_option("--section", takeSections, "Only this section of blackbox logs; A=B: one for each log")
      ->type_name("NAME|A=B");
}

bool CompareOptions::equal(long double a, long double b) const {
  // NaN is handled first, because every comparison with NaN is false.
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  // Equal infinities are also handled here, since their distance would be NaN.
  if (a == b) return tolerance.has_value() || std::signbit(a) == std::signbit(b);
  return tolerance.has_value() && std::fabs(a - b) <= *tolerance;
}

void CompareOptions::addByRecord(CLI::App& command) {
  command.add_flag("--by-record", byRecord, "Pair records by their number instead of their index");
}

}  // namespace logtool
