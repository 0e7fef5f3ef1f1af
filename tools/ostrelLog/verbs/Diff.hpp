#pragma once

#include <string>

#include "ostrelLog/Verb.hpp"
#include "ostrelLog/compare/Comparison.hpp"
#include "ostrelLog/compare/LogPair.hpp"

namespace logtool {

/// `ostrelLog diff`: compares two logs and says in what they differ.
class Diff final : public Verb {
 public:
  struct Options {
    LogPair<std::string> files;
    CompareOptions comparison;
    bool json = false;  ///< an object for programs in place of the text
  };

  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  // Status 1 would say that the logs differ.
  ExitStatus failure() const override { return ExitStatus::TROUBLE; }

  Options options;
};

}  // namespace logtool
