#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// The interfaces through which the tool reads and writes logs.
namespace LogFile {

/// The kind of log that a reader or an export handles.
enum Contents {
  CONTENTS_CONTINUOUS = 0,  ///< one sample of all sensor inputs per control step
  CONTENTS_EVENTS = 1,      ///< API calls, each with the step index at which it was made
};

/// Reads one log. A reader writes recorded values only through the registry that it was created for.
///
/// The owner calls close() just before it destroys the reader. Results are 0 or a count, or a negated
/// errno.
class IReader {
 public:
  virtual ~IReader() = default;

  /// Opens the log at `path` and prepares the reading. Negative results are the owner's to report.
  virtual int open(const char* path) = 0;

  /// Releases the file. Always 0.
  virtual int close() = 0;

  /// Reads the next sample of a continuous log into the registry's fields.
  ///
  ///   >= 0      one sample stored, the step index among its fields
  ///   -ENODATA  the log ended
  ///   other     the log can't be read on
  virtual int popSample() = 0;

  /// Stores the arguments of every event due at step `index` and lists the API inputs called, by number.
  ///
  ///   > 0      number of inputs in `events`, in log order; one may appear more than once
  ///   <= 0     nothing to replay in this step, whatever `events` holds
  ///   -ENOSYS  the reader carries no events
  virtual int popSample(int index, std::vector<int>& events) = 0;

  /// For whoever ends a replay, when no further step will come: warns of the calls that were still to be
  /// made. A call recorded for `nextStep`, the step right behind the last one, is none of them: the
  /// recording had ended before that step. Stops without a line when `isStopped` says so, which is asked
  /// before each call. Readers without events do nothing.
  virtual void warnOfMissedCalls(std::int64_t /*nextStep*/, const std::function<bool()>& /*isStopped*/) {}

  /// The hardware variant that the log's header names; empty before open() and when it names none.
  std::string droneVariant;
};

/// Writes the replayed run as a new log.
///
/// The owner calls close() exactly once, just before it destroys the export, also when open() failed.
class IExport {
 public:
  virtual ~IExport() = default;

  /// Creates the log at `path`. 0 or more, or a negated errno.
  virtual int open(const char* path) = 0;

  /// Finishes the log.
  virtual int close() = 0;

  /// Records the control step that the library has just run. Negative: the step was not recorded; -ENOENT
  /// means that recording is off and is not worth reporting.
  virtual int step() = 0;
};

}  // namespace LogFile
