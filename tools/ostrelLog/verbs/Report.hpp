#pragma once

#include <string>
#include <vector>

#include "ostrelLog/Verb.hpp"
#include "ostrelLog/report/FleetSummary.hpp"
#include "ostrelLog/report/RowFiles.hpp"

namespace logtool {

/// `ostrelLog report`: says what the rows of `regress` mean together.
class Report final : public Verb {
 public:
  struct Options {
    std::vector<std::string> rows;  ///< files, and folders of files
    std::string expect;             ///< file with the names of all flights, one a line; "" for none
    std::string list;               ///< verdict whose flights are named, and nothing else; "" for a report
    bool json = false;
    std::string html;  ///< file for the page; "" for none
  };

  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  ExitStatus failure() const override { return ExitStatus::TROUBLE; }

  Options options;

 private:
  /// Returns false, after a report, when the page that was asked for can't be written.
  bool writePage(const FleetSummary& fleet, const RowFiles& rows, bool trouble) const;
};

}  // namespace logtool
