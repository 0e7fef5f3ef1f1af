#pragma once

#include <optional>
#include <string>

#include "ostrelLog/Selection.hpp"
#include "ostrelLog/compare/DiffResult.hpp"

namespace CLI {
class App;
}

namespace logtool {

/// What is compared, and how strictly.
struct CompareOptions {
  /// Declares the options, which parsing stores in this object. Wrong text is wrong usage, and is refused
  /// before any log is read.
  void addTo(CLI::App& command);

  /// Declares the option `--by-record`, which serves only where one may choose the logs.
  void addByRecord(CLI::App& command);

  /// Whether two values count as the same (SectionComparison.hpp).
  bool equal(long double a, long double b) const;

  Selection selection;
  SectionNames sections;            ///< of blackbox logs; both are unset to pair all sections
  std::optional<double> tolerance;  ///< absolute, not negative; unset compares exactly
  bool byRecord = false;            ///< lines records up by their number instead of their index
};

}  // namespace logtool
