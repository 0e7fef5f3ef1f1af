#include "blackboxlog/logging_service.hpp"

#include <syslog.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "logservice/log.h"

namespace blackboxlog {

namespace {

constexpr const char* ENABLED = "tlm-blackbox.enabled";
constexpr const char* LOGDIR = "tlm-blackbox.logdir";
constexpr const char* LOGNAME = "tlm-blackbox.logname";
constexpr const char* FILTER = "tlm-blackbox.filter";
constexpr const char* FLUSHPERIOD = "tlm-blackbox.flushperiod";

timespec now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time;
}

}  // namespace

LoggingService::LoggingService(std::map<std::string, std::string> headerValues)
    : header(std::move(headerValues)), loop(evl_loop_new()) {
  if (loop != nullptr) context = kvs_ctx_new_client(settingChanged, this);
  if (context == nullptr) return;
  kvs_ctx_evl_loop_register(context, loop);
  for (const char* key : {ENABLED, LOGDIR, LOGNAME, FILTER, FLUSHPERIOD}) {
    kvs_ctx_subscribe(context, key, settingChanged, this);
  }
  kvs_ctx_start(context);
}

LoggingService::~LoggingService() {
  close();
  kvs_ctx_destroy(context);
  evl_loop_destroy(loop);
}

void LoggingService::settingChanged(kvs_ctx* /*context*/, kvs_evt event, const kvs_entry* /*before*/,
                                    const kvs_entry* after, std::size_t count, void* userdata) {
  if (event != KVS_EVT_CHANGED) return;
  for (std::size_t i = 0; i < count; ++i) {
    static_cast<LoggingService*>(userdata)->follow(after[i].key, *after[i].value);
  }
}

/// Takes over one setting. A setting of the wrong type counts as unset.
void LoggingService::follow(const std::string& key, const kvs_value& value) {
  const std::string text = value.type == KVS_TYPE_STRING ? value.text : "";
  if (key == LOGDIR) {
    directory = text;
  } else if (key == LOGNAME) {
    name = text;
  } else if (key == FILTER) {
    filter = text;
  } else if (key == FLUSHPERIOD) {
    flushPeriod = value.type == KVS_TYPE_INT ? value.integer : 0;
  } else {
    // Also when it was enabled before: the new directory and name stand for another log.
    closeLog();
    enabled = value.type == KVS_TYPE_BOOL && value.boolean;
    if (enabled) openLog();
  }
}

void LoggingService::takeSettings() {
  while (evl_loop_wait_and_process(loop, 0) > 0) {
  }
}

int LoggingService::put(const telemetry::Producer& producer, const timespec& time) {
  if (context == nullptr) return -ENOENT;
  takeSettings();
  if (!enabled) return -ENOENT;
  if (status == 0) status = write(producer, time);
  return status;
}

bool LoggingService::admits(const std::string& section) const {
  // With separators around both, so that "nav" is not found within "navigation".
  return (";" + filter + ";").find(";" + section + ";") != std::string::npos;
}

void LoggingService::openLog() {
  status = writer.open(directory + "/" + name, header);
  // The file is created when it is missing, so its directory is missing; put() returns -ENOENT for
  // disabled.
  if (status == -ENOENT) status = -ENOTDIR;
  lastFlush = now();
}

int LoggingService::write(const telemetry::Producer& producer, const timespec& time) {
  const auto [section, isNew] = sections.try_emplace(producer.section);
  auto& [id, sample] = section->second;
  if (isNew && admits(producer.section)) {
    const int result = writer.addSection(producer.section, producer.descriptions());
    if (result < 0) return result;
    id = static_cast<unsigned int>(result);
    sample.resize(producer.sampleBytes());
  }
  if (sample.empty()) return 0;  // left out by the filter
  producer.pack(sample.data());
  const int result = writer.sample(id, time, sample.data(), sample.size());
  return result < 0 ? result : flushWhenDue();
}

int LoggingService::flushWhenDue() {
  if (flushPeriod < 1) return 0;
  const timespec time = now();
  if (time.tv_sec - lastFlush.tv_sec < flushPeriod) return 0;
  lastFlush = time;
  return writer.flush();
}

int LoggingService::close() {
  // A log that was enabled, but got no sample since, is still to be created.
  if (context != nullptr) takeSettings();
  return closeLog();
}

int LoggingService::closeLog() {
  // After a failed write the log ends where the kernel stopped, and put() has returned the reason already.
  const bool open = enabled && status == 0;
  enabled = false;
  status = 0;
  sections.clear();
  const int result = writer.close();
  if (!open || result == 0) return 0;
  log_print("blackboxlog", LOG_ERR, "Could not write the end of %s/%s : %s", directory.c_str(),
            name.c_str(), std::strerror(-result));
  return result;
}

}  // namespace blackboxlog
