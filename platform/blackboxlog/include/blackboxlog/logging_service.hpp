#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "blackboxlog/blackbox_writer.hpp"
#include "blackboxlog/sample_packer.hpp"
#include "evloop/evl_loop.h"
#include "kvs/kvs.h"
#include "telemetry/producer.hpp"

namespace blackboxlog {

/// The system's blackbox logging service: writes what producers publish into a blackbox log, as the
/// settings tell it.
///
///   "tlm-blackbox.enabled"      bool    set to true opens the log, set to false closes it
///   "tlm-blackbox.logdir"       string  directory of the log to open; "." is the working directory
///   "tlm-blackbox.logname"      string  its file name
///   "tlm-blackbox.filter"       string  names of the sections to write, separated by ';'
///   "tlm-blackbox.flushperiod"  int     seconds between two hand-overs to the kernel; none below 1
///
/// A client of the settings service like any other: it takes the changes, in their order, at the next put()
/// or close(). Only settings that are set after its construction count: earlier ones may name a log that
/// was recorded before, and opening that again would empty it. Without the settings service nothing is ever
/// enabled. Single-threaded.
class LoggingService {
 public:
  /// `headerValues` go into the head of every log.
  explicit LoggingService(std::map<std::string, std::string> headerValues);
  LoggingService(const LoggingService&) = delete;
  LoggingService& operator=(const LoggingService&) = delete;
  /// Ends the log.
  ~LoggingService();

  /// Writes the present values of the producer's variables as a sample of its section, taken at `time`.
  ///
  ///   0         written, or left out by the filter
  ///   -ENOENT     logging was never enabled
  ///   -ESHUTDOWN  logging was enabled, and is disabled now
  ///   -EINVAL     directory or name of the log are not set, for instance because they were too long
  ///   -ENODATA    the producer has no variables
  ///   -ENOTDIR    the log's directory does not exist
  ///   -EBUSY      another log is being written to the same file
  ///   -EPERM      the log would overwrite the file that KVS_FILE names, which is logged too
  ///   -errno      the log can't be written, until another one is enabled
  int put(const telemetry::Producer& producer, const timespec& time);

  /// Ends the log, if one is open: 0, or why its end could not be written, which is logged too. When
  /// samples were lost, the last line says up to which index the log is whole.
  int close();

 private:
  struct Section {
    /// The step index of the sample, as it stands in the log; 0 without a variable "index".
    std::int64_t index() const;

    unsigned int id = 0;
    SamplePacker packer;
    std::vector<unsigned char> sample;       ///< room for one; none in a section that the filter leaves out
    std::optional<std::size_t> indexOffset;  ///< of the variable "index" in a sample
  };

  /// A sample that the kernel may not have yet.
  struct Unwritten {
    std::uint64_t end;  ///< where it ends in the log
    std::int64_t index;
  };

  static void settingChanged(kvs_ctx* context, kvs_evt event, const kvs_entry* before,
                             const kvs_entry* after, std::size_t count, void* userdata);
  void follow(const std::string& key, const kvs_value& value);
  void takeSettings();
  bool admits(const std::string& section) const;
  std::string path() const;
  void openLog();
  int closeLog();
  int write(const telemetry::Producer& producer, const timespec& time);
  int flushWhenDue();
  void noteWritten();
  void reportWholePart() const;

  std::map<std::string, std::string> header;
  evl_loop* loop = nullptr;
  kvs_ctx* context = nullptr;
  bool enabled = false;
  bool wasEnabled = false;
  int flushPeriod = 0;
  std::optional<std::string> directory;  ///< as set; unset until then
  std::optional<std::string> name;
  std::string filter;
  BlackboxWriter writer;
  int status = 0;                           ///< why the enabled log can't be written
  bool faultReturned = false;               ///< a caller of put() has got it
  std::map<std::string, Section> sections;  ///< by name: those put since the log was opened
  std::deque<Unwritten> unwritten;          ///< at most as many as the writer gathers
  std::optional<std::int64_t> lastWhole;    ///< index of the last sample that the kernel has
  timespec lastFlush{};
};

}  // namespace blackboxlog
