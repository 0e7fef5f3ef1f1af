#pragma once

#include "ostrelLog/FlightFiles.hpp"
#include "ostrelLog/Verb.hpp"

namespace logtool {

/// `ostrelLog make`: writes a simulated flight as a pair of legacy logs, and says so in one line.
class Make final : public Verb {
 public:
  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  ExitStatus failure() const override { return ExitStatus::NOT_MADE; }

  FlightOptions options;
};

}  // namespace logtool
