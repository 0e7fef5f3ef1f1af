#pragma once

#include <optional>
#include <string>
#include <utility>

#include "ostrelLog/Verb.hpp"
#include "ostrelLog/fleet/FleetSetup.hpp"

namespace logtool {

/// `ostrelLog regress`: replays many flights with two sets of libraries and says which come out
/// differently.
class Regress final : public Verb {
 public:
  /// The version goes into each row.
  explicit Regress(std::string toolVersion) : version(std::move(toolVersion)) {}

  CLI::App* addTo(CLI::App& program) override;
  ExitStatus run() const override;
  ExitStatus failure() const override { return bisect ? ExitStatus::UNTESTABLE : ExitStatus::TROUBLE; }

 private:
  void addInputs(CLI::App& command);
  void addReplays(CLI::App& command);
  void check();
  ExitStatus compareFlights() const;

  const std::string version;
  FleetOptions options;
  std::optional<std::string> shard;  // as given: I/N
  bool bisect = false;
};

}  // namespace logtool
