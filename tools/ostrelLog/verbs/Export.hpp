#pragma once

#include "ostrelLog/Verb.hpp"
#include "ostrelLog/convert/FlightExport.hpp"

namespace logtool {

/// `ostrelLog export`: writes a flight in a format of other programs.
class Export final : public Verb {
 public:
  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  ExitStatus failure() const override { return ExitStatus::NOT_EXPORTED; }

  ExportOptions options;

 private:
  void checkOptions();

  std::string format;       // as given
  std::string compression;  // as given; empty when it was not
};

}  // namespace logtool
