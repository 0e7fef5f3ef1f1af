#pragma once

#include <optional>
#include <string>

#include "ostrelLog/Selection.hpp"
#include "ostrelLog/compare/DiffResult.hpp"

namespace logtool {

/// What is compared, and how strictly.
struct CompareOptions {
  Selection selection;
  SectionNames sections;            ///< of blackbox logs; both are unset to pair all sections
  std::optional<double> tolerance;  ///< absolute, not negative; unset compares exactly
  bool byRecord = false;            ///< lines records up by their number instead of their index
};

/// The sections that the text of `--section`, NAME or A=B, names for the two logs. Throws
/// CLI::ValidationError for other text.
SectionNames sectionNames(const std::string& text);

}  // namespace logtool
