#pragma once

#include <string>
#include <vector>

#include "ostrelLog/Verb.hpp"

namespace logtool {

/// `ostrelLog report`: says what the rows of `regress` mean together.
class Report final : public Verb {
 public:
  struct Options {
    std::vector<std::string> rows;  ///< files, and folders of files
    std::string expect;             ///< file with the names of all flights, one a line; "" for none
    std::string list;               ///< verdict whose flights are named, and nothing else; "" for a report
    bool json = false;
  };

  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  ExitStatus failure() const override { return ExitStatus::TROUBLE; }

  Options options;
};

}  // namespace logtool
