#pragma once

#include <cstddef>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "evloop/evl_loop.h"
#include "kvs/kvs.h"
#include "telemetry/blackbox_writer.hpp"
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
  ///   -ENOENT   logging is disabled
  ///   -ENOTDIR  the log's directory does not exist
  ///   -errno    the log can't be written, until another one is enabled
  int put(const telemetry::Producer& producer, const timespec& time);

  /// Ends the log, if one is open: 0, or why its end could not be written, which is logged too.
  int close();

 private:
  struct Section {
    unsigned int id = 0;
    std::vector<unsigned char> sample;  ///< room for one; none in a section that the filter leaves out
  };

  static void settingChanged(kvs_ctx* context, kvs_evt event, const kvs_entry* before,
                             const kvs_entry* after, std::size_t count, void* userdata);
  void follow(const std::string& key, const kvs_value& value);
  void takeSettings();
  bool admits(const std::string& section) const;
  void openLog();
  int closeLog();
  int write(const telemetry::Producer& producer, const timespec& time);
  int flushWhenDue();

  std::map<std::string, std::string> header;
  evl_loop* loop = nullptr;
  kvs_ctx* context = nullptr;
  bool enabled = false;
  int flushPeriod = 0;
  std::string directory;
  std::string name;
  std::string filter;
  telemetry::BlackboxWriter writer;
  int status = 0;                           ///< why the enabled log can't be written
  std::map<std::string, Section> sections;  ///< by name: those put since the log was opened
  timespec lastFlush{};
};

}  // namespace blackboxlog
