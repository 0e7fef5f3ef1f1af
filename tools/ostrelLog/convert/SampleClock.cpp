#include "ostrelLog/convert/SampleClock.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "registry/Conversion.hpp"

namespace logtool {

namespace {

constexpr const char* SECONDS = "inputs.sensors.imu.timestamp[0].tv_sec";
constexpr const char* NANOSECONDS = "inputs.sensors.imu.timestamp[0].tv_nsec";
constexpr long double NANOSECONDS_A_SECOND = 1e9L;

constexpr auto LATEST = static_cast<long double>(std::numeric_limits<std::int64_t>::max());

long double nanosecondsOf(std::int64_t wholeSeconds, std::int64_t rest) {
  return static_cast<long double>(wholeSeconds) * NANOSECONDS_A_SECOND + static_cast<long double>(rest);
}

/// The whole number that a legacy log holds at this offset, as a replay stores it.
std::int64_t recorded(const Record& sample, std::size_t offset) {
  double value = 0;
  std::memcpy(&value, sample.values + offset, sizeof value);
  return fieldFromRecord<std::int64_t>(value);
}

}  // namespace

SampleClock::SampleClock(std::optional<double> forcedRate, const Record* first)
    : rate(forcedRate.value_or(DEFAULT_RATE)) {
  if (forcedRate || first == nullptr) return;
  std::size_t offset = 0;
  for (const LogVariable& variable : first->layout->variables) {
    if (variable.name == SECONDS) seconds = offset;
    if (variable.name == NANOSECONDS) nanoseconds = offset;
    offset += variable.elementBytes * variable.count;
  }
  stamped = (first->time || (seconds && nanoseconds)) && ofStamp(*first) != 0;
}

std::uint64_t SampleClock::ofSample(const Record& sample) {
  if (!stamped) return nearestTime(ofIndex(sample.index));
  const long double stamp = ofStamp(sample);
  if (stamp == 0) {
    ++unstamped;
  } else {
    latest = nearestTime(stamp);
  }
  return latest;
}

std::uint64_t SampleClock::ofCall(const Record& call) {
  return stamped ? latest : nearestTime(ofIndex(call.index));
}

std::string SampleClock::text() const {
  if (stamped) return "stamps of the samples";
  std::array<char, 32> number{};
  return "index / " + std::string(number.data(), std::to_chars(number.begin(), number.end(), rate).ptr) +
         " Hz";
}

std::uint64_t SampleClock::nearestTime(long double time) {
  const long double nearest = std::clamp(time, 0.0L, LATEST);
  if (nearest != time) ++moved;
  return static_cast<std::uint64_t>(nearest);
}

long double SampleClock::ofStamp(const Record& sample) const {
  if (sample.time) return nanosecondsOf(sample.time->tv_sec, sample.time->tv_nsec);
  return nanosecondsOf(recorded(sample, *seconds), recorded(sample, *nanoseconds));
}

long double SampleClock::ofIndex(std::int64_t index) const {
  return std::round(static_cast<long double>(index) * NANOSECONDS_A_SECOND / rate);
}

}  // namespace logtool
