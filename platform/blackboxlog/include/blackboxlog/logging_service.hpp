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
///   "tlm-blackbox.enabled"      bool    the log is open while it is true
///   "tlm-blackbox.logdir"       string  directory of the log; "." is the working directory
///   "tlm-blackbox.logname"      string  its file name
///   "tlm-blackbox.filter"       string  names of the sections to write, separated by ';'
///   "tlm-blackbox.flushperiod"  int     seconds between two hand-overs to the kernel; none below 1
///
/// A client of the settings service like any other: it sees a change at the next put(). A log that can't be
/// written stays failed until the settings name another one or logging is switched off. Without the
/// settings service nothing is ever enabled. Single-threaded.
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
  ///   -errno    the log can't be written
  int put(const telemetry::Producer& producer, const timespec& time);

  /// Ends the log, if one is open: 0, or why its end could not be written, which is logged too.
  int close();

 private:
  struct Settings {
    bool enabled = false;
    int flushPeriod = 0;
    std::string path;
    std::string filter;
  };
  struct Section {
    unsigned int id;
    std::vector<unsigned char> sample;
  };

  static void settingChanged(kvs_ctx* context, kvs_evt event, const kvs_entry* before,
                             const kvs_entry* after, std::size_t count, void* userdata);
  void followSettings();
  bool admits(const std::string& section) const;
  int openLog();
  int write(const telemetry::Producer& producer, const timespec& time);
  int flushWhenDue();

  std::map<std::string, std::string> header;
  evl_loop* loop = nullptr;
  kvs_ctx* context = nullptr;
  bool settingsChanged = true;
  Settings settings;
  telemetry::BlackboxWriter writer;
  bool open = false;
  int status = 0;  ///< why the log can't be written
  std::map<std::string, Section> sections;
  timespec lastFlush{};
};

}  // namespace blackboxlog
