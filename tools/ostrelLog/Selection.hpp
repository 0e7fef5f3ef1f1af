#pragma once

#include <memory>
#include <string>
#include <vector>

#include "logfile/scan/LogSource.hpp"

namespace CLI {
class App;
}

namespace logtool {

/// What a verb takes of a log: the variables or calls that the option `--only` names. Without it that is
/// everything.
struct Selection {
  /// Declares the option, which parsing stores in this object.
  void addTo(CLI::App& command);

  /// Whether a name matches one of the patterns. Brackets around nothing but digits are an index and stand
  /// for themselves, so that `acc[0].*` selects `acc[0].x`. A pattern also matches literally.
  bool has(const std::string& name) const;

  /// Whether an argument of a call is selected: by its own name API.ARGUMENT, or by the name of its API.
  bool has(const RecordLayout& api, const LogVariable& argument) const;

  /// Whether a call is selected: by the name of its API, or because one of its arguments is.
  bool has(const RecordLayout& api) const;

  /// What to take of the calls that go with samples: all of them, unless a pattern names any. Patterns of
  /// variables do not hide the calls.
  Selection ofCalls(const std::vector<std::unique_ptr<const RecordLayout>>& apis) const;

  std::vector<std::string> only;  ///< shell patterns of names; empty selects every name
};

}  // namespace logtool
