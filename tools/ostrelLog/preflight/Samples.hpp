#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/SensorColumns.hpp"
#include "ostrelLog/preflight/Finding.hpp"

namespace logtool {

/// Reads the samples of a continuous log as a replay does, and finds what a replay loses of them.
class Samples {
 public:
  /// For the log at `path`, which is a legacy or a blackbox log. `section` is the one of a blackbox log to
  /// be replayed; otherwise a replay's own choice.
  static std::unique_ptr<Samples> create(const std::string& path,
                                         const std::optional<std::string>& section);

  explicit Samples(const std::string& path) : findings(path) {}
  Samples(const Samples&) = delete;
  Samples& operator=(const Samples&) = delete;
  virtual ~Samples() = default;

  /// Opens the log; a fault when a replay would refuse it.
  virtual std::optional<Fault> open() = 0;

  /// Goes on to the next sample: 0, or, when there is none, what ends the replay, -ENODATA at the log's
  /// end. How the log ended is then among the findings.
  virtual int next() = 0;

  /// The step index of the sample.
  std::int32_t index() const { return columns.index; }

  Findings findings;
  std::string variant;                 ///< the hardware variant; empty when the log names none
  std::optional<std::string> section;  ///< of a blackbox log: the one that a replay takes
  bool hasIndex = true;                ///< otherwise every sample is replayed as step 0
  std::size_t boundSensors = 0;        ///< of the registered ones: those that the log has values for

  /// Registered as a replay registers them.
  SensorColumns columns;
};

}  // namespace logtool
