#pragma once

#include <cstdint>
#include <vector>

#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyHeader.hpp"

/// The head of an event record, decoded (LegacyLayout.hpp). Values that no integer can hold are as
/// Conversion.hpp says.
struct EventHead {
  /// `values` are the three values of the head.
  explicit EventHead(const double* values);
  EventHead() = default;

  std::uint64_t recordBytes = 0;
  std::int32_t step = 0;
  std::int32_t eventId = -1;
  std::uint64_t argumentCount = 0;  ///< argument values in the record
};

/// Walks through the records of an event log: a replay, the companion tool and the tests all go this way.
/// It decides what can be trusted, and knows neither the library nor what anyone does with a call.
///
/// The file is borrowed, stands at the first record and outlives this object; so does the format.
class EventRecords {
 public:
  /// What was read. All but WHOLE and UNUSUAL end the log; whoever reads on then meets END.
  enum State {
    WHOLE,       ///< a record as its header announces it
    UNUSUAL,     ///< a record that no writer should have written; a replay takes it as it is
    END,         ///< the log ends between two records
    CUT,         ///< the log ends inside the record
    DAMAGED,     ///< this is no record: nothing from here on can be trusted
    UNREADABLE,  ///< the system could not read on (LegacyFile::readError)
  };

  /// Why a record is unusual.
  enum Oddity {
    NONE,
    UNNAMED_API,           ///< its event id is no position of "titles"
    OTHER_ARGUMENT_COUNT,  ///< it has more or fewer arguments than the header names for its API
    FRACTION,              ///< its size is no multiple of 8, or its step or event id no whole number
  };

  /// An oddity in words, to be put behind a number of calls.
  static const char* text(Oddity oddity);

  /// Whether a state is a record, and not the end of the log.
  static bool isRecord(State state) { return state == WHOLE || state == UNUSUAL; }

  /// What is unusual about a record, told by its decoded head and the three values of it. Whether its size
  /// can be is another question.
  static Oddity judge(const EventHead& head, const double* values, const EventFormat& format);

  /// Whether a record can have this size in bytes, as it stands in its head.
  static bool isPossibleSize(double recordBytes);

  EventRecords(LegacyFile& log, const EventFormat& eventFormat) : file(log), format(eventFormat) {}

  /// Reads the head of the next record into `values`, which then holds nothing else, and decodes it into
  /// `head`. A size that can't be is only found by readArguments(), so that looking ahead at a damaged
  /// record does not take away the calls before it.
  State readHead(std::vector<double>& values);

  /// Reads the first `wanted` arguments of the record (all, if it has fewer), appends them to `values`, and
  /// moves past the rest. Called once after each readHead() that gave a record.
  State readArguments(std::vector<double>& values, std::uint64_t wanted);

  EventHead head;           ///< of the record that readHead() met last
  std::uint64_t start = 0;  ///< offset of that record in the file
  Oddity oddity = NONE;     ///< of that record

 private:
  State failedRead();

  LegacyFile& file;
  const EventFormat& format;
};
