#pragma once

#include <optional>

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

}  // namespace logtool
