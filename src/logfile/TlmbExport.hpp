#pragma once

#include <string>

#include "logfile/KvsHelper.hpp"
#include "logfile/LogFile.hpp"

/// Records the replayed run as a new blackbox log.
///
/// It writes no file itself: the flight-control library's blackbox logger publishes each step, and the
/// system's blackbox logging service, told by settings, writes the file. Those settings are borrowed: the
/// destructor ends the publication and puts them back. Created after the library's instance and destroyed
/// before it. Failures of settings and set-up are warnings; nothing is fatal.
class TlmbExport : public LogFile::IExport {
 public:
  explicit TlmbExport(LogFile::Contents kind);
  TlmbExport(const TlmbExport&) = delete;
  TlmbExport& operator=(const TlmbExport&) = delete;
  ~TlmbExport() override;

  /// Points the logging service at `path` and enables it. Always 0: a path that can't be written shows when
  /// steps are recorded.
  int open(const char* path) override;

  /// Does nothing: the publication ends with the export. 0.
  int close() override;

  /// Publishes the step that the library has just run, stamped with its first inertial time stamp. The
  /// logger's result. When the first step is not recorded, a line says that there will be no new log.
  int step() override;

 private:
  void borrowSettings();
  void set(const char* key, const char* text);
  void set(const char* key, bool value);
  void set(const char* key, int value);
  void acknowledge(int result);
  void reportNoLog(const char* reason) const;

  LogFile::Contents contents;
  KvsHelper settings;
  std::string newLog;    ///< path of the log to be written
  bool stepped = false;  ///< a step was published, or could not be
};
