#include "logfile/TlmbExport.hpp"

#include <syslog.h>

#include <cerrno>
#include <string>

#include "logfile/ErrorText.hpp"
#include "logservice/log.h"
#include "ostrel/data_manager.hpp"
#include "ostrel/log_tlmb.h"
#include "registry/LogTag.hpp"
#include "registry/SensorRecords.hpp"

namespace {

// The settings that the logging service follows. It opens a log at the moment when ENABLED becomes true,
// with the directory and name set at that moment.
constexpr const char* LOGNAME = "tlm-blackbox.logname";
constexpr const char* LOGDIR = "tlm-blackbox.logdir";
constexpr const char* FILTER = "tlm-blackbox.filter";
constexpr const char* FLUSHPERIOD = "tlm-blackbox.flushperiod";
constexpr const char* ENABLED = "tlm-blackbox.enabled";

}  // namespace

TlmbExport::TlmbExport(LogFile::Contents kind) : contents(kind) {
  if (contents == LogFile::CONTENTS_CONTINUOUS) {
    // Publishes the library's variables under the section name that the filter below admits.
    const int result = ostrel_log_tlmb_init("navdata-replay", 360000, 500);
    if (result < 0)
      log_print(LOG_TAG, LOG_WARNING, "Could not init Ostrel tlmb log : %s", errorText(result));
  }
  if (settings.ctx == nullptr) return;
  borrowSettings();
  // Disabled first, so that no log is open while its directory and name change.
  set(ENABLED, false);
  // Every second, so that a replay that is killed loses about a second of its new log at most.
  set(FLUSHPERIOD, 1);
  set(FILTER, "navdata-replay;ostrellite");
}

TlmbExport::~TlmbExport() {
  // Before the settings go back, so that the logging service still has the file it is to finish.
  ostrel_log_tlmb_cleanup();
}

/// Notes the present values of all settings that the export is going to change.
void TlmbExport::borrowSettings() {
  for (const char* key : {LOGNAME, LOGDIR, FILTER, FLUSHPERIOD, ENABLED}) {
    const int result = kvs_ctx_subscribe(settings.ctx, key, KvsHelper::static_cb, &settings);
    if (result < 0) log_print(LOG_TAG, LOG_WARNING, "Could not subscribe : %s", errorText(result));
    kvs_value_init(&settings.saved[key]);
  }
  // A service in another process may know the values only after the start, so its answer is awaited.
  const int result = kvs_ctx_start(settings.ctx);
  if (result < 0) log_print(LOG_TAG, LOG_WARNING, "Could not start : %s", errorText(result));
  settings.waitAck(result);
  for (auto& [key, value] : settings.saved) {
    kvs_value current;
    kvs_value_init(&current);
    // A key without a value leaves `current` empty, and putting an empty value back deletes the key.
    kvs_ctx_get(settings.ctx, key.c_str(), &current);
    kvs_value_copy(&value, &current);
  }
}

void TlmbExport::set(const char* key, const char* text) {
  acknowledge(kvs_ctx_set_string(settings.ctx, key, text));
}

void TlmbExport::set(const char* key, bool value) {
  acknowledge(kvs_ctx_set_bool(settings.ctx, key, value));
}

void TlmbExport::set(const char* key, int value) {
  acknowledge(kvs_ctx_set_int(settings.ctx, key, value));
}

void TlmbExport::acknowledge(int result) {
  if (result < 0) log_print(LOG_TAG, LOG_WARNING, "Could not set : %s", errorText(result));
  settings.waitAck(result);
}

int TlmbExport::open(const char* path) {
  newLog = path;
  if (settings.ctx == nullptr) {
    reportNoLog("there is no settings service");
    stepped = true;  // whatever the steps give, there is nothing more to say
    return 0;
  }
  const std::string& whole = newLog;
  const std::size_t slash = whole.rfind('/');
  // The service joins directory and name itself, so a bare file name needs "." as its directory.
  const bool hasDirectory = slash != std::string::npos;
  set(LOGNAME, hasDirectory ? whole.substr(slash + 1).c_str() : whole.c_str());
  set(LOGDIR, hasDirectory ? whole.substr(0, slash).c_str() : ".");
  // Last, because this is what opens the log.
  set(ENABLED, true);
  return 0;
}

int TlmbExport::close() {
  return 0;
}

int TlmbExport::step() {
  // The data manager's record begins with the sensors that the replay has just copied there.
  const auto* inputs = reinterpret_cast<const sensors_data*>(Dravon3::data_manager());
  const int result = ostrel_log_tlmb_put(&inputs->imu.timestamp[0]);
  // Reported for the first step only; a log that can't be written would otherwise give a line per step.
  if (result < 0 && !stepped) reportNoLog(result == -ENOENT ? "logging is off" : errorText(result));
  stepped = true;
  return result;
}

void TlmbExport::reportNoLog(const char* reason) const {
  log_print(LOG_TAG, LOG_ERR, "No new log %s : %s", newLog.c_str(), reason);
}
