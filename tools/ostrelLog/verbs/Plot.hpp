#pragma once

#include <string>

#include "ostrelLog/Verb.hpp"
#include "ostrelLog/plot/PlotData.hpp"

namespace logtool {

/// `ostrelLog plot`: draws a log, or what differs between two logs, as a page for a browser.
class Plot final : public Verb {
 public:
  struct Options {
    PlotOptions plot;
    std::string output;  ///< empty for standard output
  };

  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  ExitStatus failure() const override { return ExitStatus::NOT_PLOTTED; }

  Options options;

 private:
  /// Returns false, after a report, when the page can't be written.
  bool write(const std::string& page) const;
};

}  // namespace logtool
