#include "ostrelLog/compare/CompareOptions.hpp"

#include <CLI/CLI.hpp>

namespace logtool {

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

}  // namespace logtool
