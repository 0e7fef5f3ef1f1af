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

/// The value of a setting; a setting of another type than `type` is as good as none.
kvs_value get(kvs_ctx* context, const char* key, kvs_type type) {
  kvs_value value;
  kvs_ctx_get(context, key, &value);
  if (value.type != type) kvs_value_init(&value);
  return value;
}

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

void LoggingService::settingChanged(kvs_ctx* /*context*/, kvs_evt /*event*/, const kvs_entry* /*before*/,
                                    const kvs_entry* /*after*/, std::size_t /*count*/, void* userdata) {
  static_cast<LoggingService*>(userdata)->settingsChanged = true;
}

int LoggingService::put(const telemetry::Producer& producer, const timespec& time) {
  if (context == nullptr) return -ENOENT;
  evl_loop_wait_and_process(loop, 0);
  if (settingsChanged) followSettings();
  if (!settings.enabled) return -ENOENT;
  if (!admits(producer.section)) return 0;
  if (!open && status == 0) status = openLog();
  if (status == 0) status = write(producer, time);
  return status;
}

void LoggingService::followSettings() {
  settingsChanged = false;
  Settings wanted;
  wanted.enabled = get(context, ENABLED, KVS_TYPE_BOOL).boolean;
  wanted.flushPeriod = get(context, FLUSHPERIOD, KVS_TYPE_INT).integer;
  wanted.path = std::string(get(context, LOGDIR, KVS_TYPE_STRING).text) + "/" +
                get(context, LOGNAME, KVS_TYPE_STRING).text;
  wanted.filter = get(context, FILTER, KVS_TYPE_STRING).text;
  if (!wanted.enabled || wanted.path != settings.path) close();
  settings = std::move(wanted);
}

bool LoggingService::admits(const std::string& section) const {
  // Between separators, so that no part of a name passes for the whole.
  return (";" + settings.filter + ";").find(";" + section + ";") != std::string::npos;
}

int LoggingService::openLog() {
  const int result = writer.open(settings.path, header);
  // -ENOENT would say that logging is off.
  if (result < 0) return result == -ENOENT ? -ENOTDIR : result;
  open = true;
  lastFlush = now();
  return 0;
}

int LoggingService::write(const telemetry::Producer& producer, const timespec& time) {
  auto section = sections.find(producer.section);
  if (section == sections.end()) {
    const int id = writer.addSection(producer.section, producer.descriptions());
    if (id < 0) return id;
    section = sections.emplace(producer.section, Section{static_cast<unsigned int>(id), {}}).first;
    section->second.sample.resize(producer.sampleBytes());
  }
  auto& [id, sample] = section->second;
  producer.pack(sample.data());
  const int result = writer.sample(id, time, sample.data(), sample.size());
  return result < 0 ? result : flushWhenDue();
}

int LoggingService::flushWhenDue() {
  if (settings.flushPeriod < 1) return 0;
  const timespec time = now();
  if (time.tv_sec - lastFlush.tv_sec < settings.flushPeriod) return 0;
  lastFlush = time;
  return writer.flush();
}

int LoggingService::close() {
  const int earlier = std::exchange(status, 0);
  sections.clear();
  if (!std::exchange(open, false)) return 0;
  const int result = writer.close();
  // An error that put() has returned was reported there.
  if (result < 0 && earlier == 0) {
    log_print("blackboxlog", LOG_ERR, "Could not write the end of %s : %s", settings.path.c_str(),
              std::strerror(-result));
  }
  return result;
}

}  // namespace blackboxlog
