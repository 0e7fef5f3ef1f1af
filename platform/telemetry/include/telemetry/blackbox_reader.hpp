#pragma once

#include <cstddef>
#include <ctime>
#include <map>
#include <string>

#include "telemetry/var_desc.hpp"

namespace telemetry {

/// Follows the sections of a telemetry stream and their samples. All pointers and references handed to a
/// callback are borrowed until it returns; value bytes have no alignment.
class LoggerCb {
 public:
  virtual ~LoggerCb() = default;

  /// Section `id` exists from now on; its description follows with sectionChanged().
  virtual void sectionAdded(unsigned int /*id*/) {}

  /// Section `id` is about to go: it can still be asked about, and its id may come again for another one.
  virtual void sectionRemoved(unsigned int /*id*/) {}

  /// Section `id` has a new description, to be read through BlackboxReaderItf; what was known of its
  /// variables no longer holds. `description` is opaque and only good for sectionNameOf().
  virtual void sectionChanged(unsigned int /*id*/, const void* /*description*/, std::size_t /*size*/) {}

  /// A sample of section `id` begins, taken at `time`: `size` bytes, all its variables back to back.
  virtual void sampleBegin(unsigned int /*id*/, const timespec* /*time*/, const void* /*bytes*/,
                           std::size_t /*size*/) {}

  /// The sample is complete.
  virtual void sampleEnd(unsigned int /*id*/) {}

  /// The value of variable `index`, between sampleBegin() and sampleEnd(), in ascending order of the
  /// indices: `size` bytes, elementBytes * count of its description.
  virtual void sample(unsigned int /*id*/, const timespec* /*time*/, unsigned int /*index*/,
                      const VarDesc& /*description*/, const void* /*bytes*/, std::size_t /*size*/) {}

  /// A new stream begins: no section exists.
  virtual void reset() {}
};

/// A LoggerCb that also learns what the head of a log file says.
class BlackboxReaderItfCb : public LoggerCb {
 public:
  /// The header values by name; empty when the log is cut before their end.
  virtual void fileHeader(const std::map<std::string, std::string>& /*values*/) {}
};

/// Reads one blackbox log after another and reports what it meets to a callback object.
///
/// Callbacks run only inside open() and step() and must not call open(), close() or step(). Results are 0
/// or a negated errno. What is wrong with a file is logged once, in one line with its name and the byte
/// offset. Single-threaded.
class BlackboxReaderItf {
 public:
  /// A new reader, owned by the caller. `callbacks` is borrowed and outlives it. Never null.
  static BlackboxReaderItf* create(BlackboxReaderItfCb* callbacks);

  virtual ~BlackboxReaderItf() = default;

  /// Opens the log at `path`, closing an open one first; calls reset(), then fileHeader(), before it
  /// returns.
  ///
  ///   0          ready for step(); also for a log cut anywhere after its magic, header values included
  ///   -EINVAL    no blackbox log: it does not begin with the magic
  ///   -ENOTSUP   a blackbox log of another version
  ///   -EBADMSG   its header values are damaged
  ///   others     the file could not be opened (not logged: the caller knows the path) or read
  virtual int open(const std::string& path) = 0;

  /// Closes the log and forgets its sections. 0, also when none is open.
  virtual int close() = 0;

  /// Reads the next block of the log and delivers its callbacks.
  ///
  ///   0          one block processed; it need not have been a sample
  ///   -ENOENT    the log ended; where it was cut short, with one warning line
  ///   -EBADMSG   the block is damaged or contradicts the log so far; none of its values was delivered
  ///   -EBADF     no log is open
  ///   others     the file could not be read
  ///
  /// Every result but 0 is final: later calls return it again, with no callback and no line.
  virtual int step() = 0;

  /// The name of section `id`, and the text valid until the section changes or goes; empty when unknown.
  /// `description` and `size` are those of sectionChanged().
  virtual const std::string& sectionNameOf(unsigned int id, const void* description,
                                           std::size_t size) const = 0;

  /// Number of variables in section `id`; 0 when unknown.
  virtual unsigned int varCount(unsigned int id) const = 0;

  /// Variable `index` of section `id`, valid until the section changes or goes; when unknown, an empty
  /// description of count 0.
  virtual const VarDesc& varDesc(unsigned int id, unsigned int index) const = 0;
};

}  // namespace telemetry
