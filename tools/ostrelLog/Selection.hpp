#pragma once

#include <string>
#include <vector>

#include "logfile/scan/LogSource.hpp"

namespace CLI {
class App;
}

namespace logtool {

/// What a verb takes of a log: the part of it that the options `--only` and `--section` name. Without them
/// that is everything.
struct Selection {
  /// Declares the two options, which parsing stores in this object.
  void addTo(CLI::App& command);

  /// Whether a name matches one of the patterns. A pattern also matches literally, so `a[0]` selects
  /// `a[0]`.
  bool has(const std::string& name) const;

  /// Whether an argument of a call is selected: by its own name API.ARGUMENT, or by the name of its API.
  bool has(const RecordLayout& api, const telemetry::VarDesc& argument) const;

  /// Whether a call is selected: by the name of its API, or because one of its arguments is.
  bool has(const RecordLayout& api) const;

  std::vector<std::string> only;  ///< shell patterns of names; empty selects every name
  std::string section;            ///< of blackbox logs; empty for the first one that has samples
};

}  // namespace logtool
