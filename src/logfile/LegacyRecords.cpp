#include "logfile/LegacyRecords.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "logfile/LegacyLayout.hpp"
#include "registry/Conversion.hpp"

using LegacyLayout::EVENT_HEAD_VALUES;
using LegacyLayout::EVENT_ID;
using LegacyLayout::RECORD_BYTES;
using LegacyLayout::STEP;

EventHead::EventHead(const double* values)
    : recordBytes(truncateToUnsigned64(values[RECORD_BYTES])),
      step(truncateTo<std::int32_t>(values[STEP])),
      eventId(truncateTo<std::int32_t>(values[EVENT_ID])),
      argumentCount(recordBytes / sizeof(double) - EVENT_HEAD_VALUES) {}

const char* EventRecords::text(Oddity oddity) {
  switch (oddity) {
    case UNNAMED_API: return "of an API that the header does not name, not counted as calls";
    case OTHER_ARGUMENT_COUNT: return "with another number of arguments than the header names";
    default: return "with a size that is no multiple of 8, or a step or API number with a fraction";
  }
}

EventRecords::State EventRecords::readHead(std::vector<double>& values) {
  start = file.position();
  values.clear();
  if (!file.append(values, EVENT_HEAD_VALUES)) return failedRead();
  head = EventHead(values.data());
  oddity = judge(head, values.data(), format);
  return oddity == NONE ? WHOLE : UNUSUAL;
}

EventRecords::State EventRecords::readArguments(std::vector<double>& values, std::uint64_t wanted) {
  if (!isPossibleSize(values[RECORD_BYTES])) {
    file.end();
    return DAMAGED;
  }
  // However many arguments a record claims, memory is only spent on those that someone takes.
  const std::uint64_t kept = std::min(wanted, head.argumentCount);
  if (!file.append(values, kept) || !file.skip(head.argumentCount - kept)) {
    const State state = failedRead();
    file.end();
    return state;
  }
  return oddity == NONE ? WHOLE : UNUSUAL;
}

bool EventRecords::isPossibleSize(double recordBytes) {
  // The recorded double is compared, not the integer made of it: that has wrapped when the size is
  // negative.
  constexpr double headBytes = EVENT_HEAD_VALUES * sizeof(double);
  return std::isfinite(recordBytes) && recordBytes >= headBytes;
}

EventRecords::Oddity EventRecords::judge(const EventHead& head, const double* values,
                                         const EventFormat& format) {
  if (head.eventId < 0 || static_cast<std::size_t>(head.eventId) >= format.getEntries().size()) {
    return UNNAMED_API;
  }
  if (head.argumentCount != format.getSubEntries(head.eventId).size()) return OTHER_ARGUMENT_COUNT;
  // Without a fraction, the decoded integers are exactly equal to the recorded doubles.
  const double wholeBytes = static_cast<double>((EVENT_HEAD_VALUES + head.argumentCount) * sizeof(double));
  const bool isWhole =
      values[RECORD_BYTES] == wholeBytes && values[STEP] == head.step && values[EVENT_ID] == head.eventId;
  return isWhole ? NONE : FRACTION;
}

/// Why the record that begins at `start` could not be read to its end.
EventRecords::State EventRecords::failedRead() {
  if (file.readError() < 0) return UNREADABLE;
  // A file that ends exactly between two records is whole.
  return file.position() > start ? CUT : END;
}
