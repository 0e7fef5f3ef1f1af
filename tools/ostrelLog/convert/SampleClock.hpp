#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "logfile/scan/LogSource.hpp"

namespace logtool {

/// Gives samples and calls their times, in nanoseconds.
///
/// A sample's own stamp is that of its block in a blackbox log. In a legacy log it is the one of the first
/// inertial sample, which a replay takes for the blackbox log that it writes: so the times of a flight and
/// of its replay agree. A log has no stamps when its first sample has none or the stamp 0; the times are
/// then indices divided by the rate. A later sample with the stamp 0 gets that of the one before. Times
/// that the format can't hold become the nearest that it can.
class SampleClock {
 public:
  static constexpr double DEFAULT_RATE = 200;

  /// With `forcedRate`, in steps a second, the stamps are ignored. `first` is the first sample; null when
  /// there is none.
  SampleClock(std::optional<double> forcedRate, const Record* first);

  /// The time of a sample; later calls without a stamp of their own get it too.
  std::uint64_t ofSample(const Record& sample);

  /// The time of a call: with stamps that of the sample before which it is made, or of the last one;
  /// otherwise that of its own index.
  std::uint64_t ofCall(const Record& call);

  /// How many times so far were not the right ones but the nearest that can be written.
  std::uint64_t movedTimes() const { return moved; }

  /// How many samples so far had no stamp although the first one had, and got that of the one before.
  std::uint64_t unstampedSamples() const { return unstamped; }

  /// Whether the times are the samples' own.
  bool usesStamps() const { return stamped; }

  /// What the times are, for people.
  std::string text() const;

 private:
  // A long double holds every whole number of 64 bits.
  long double ofStamp(const Record& sample) const;
  long double ofIndex(std::int64_t index) const;
  std::uint64_t nearestTime(long double time);

  const double rate;
  bool stamped = false;
  /// Offsets of the stamp's parts in the values of a legacy sample.
  std::optional<std::size_t> seconds;
  std::optional<std::size_t> nanoseconds;
  std::uint64_t latest = 0;
  std::uint64_t moved = 0;
  std::uint64_t unstamped = 0;
};

}  // namespace logtool
