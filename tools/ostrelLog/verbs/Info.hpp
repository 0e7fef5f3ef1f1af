#pragma once

#include <string>
#include <vector>

#include "ostrelLog/Verb.hpp"

namespace logtool {

/// `ostrelLog info`: says what each of the logs is and holds, one after the other.
class Info final : public Verb {
 public:
  struct Options {
    std::vector<std::string> files;
    bool json = false;     ///< an array with one object per file, for programs
    bool columns = false;  ///< the text names every variable too; the JSON always does
    bool names = false;    ///< prints only what --only can name, for the completions of the shells
  };

  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  ExitStatus failure() const override { return ExitStatus::UNREADABLE; }

  Options options;
};

}  // namespace logtool
