#pragma once

#include "ostrelLog/Verb.hpp"
#include "ostrelLog/preflight/Preflight.hpp"

namespace logtool {

/// `ostrelLog check`: says what a replay of two logs would lose, before it is run.
class Check final : public Verb {
 public:
  struct Options {
    CheckOptions check;
    bool json = false;  ///< an object for programs in place of the text
  };

  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  ExitStatus failure() const override { return ExitStatus::CANNOT_RUN; }

  Options options;
};

}  // namespace logtool
