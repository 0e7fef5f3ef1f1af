#include "blackboxlog/logging_service.hpp"

#include <syslog.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
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

/// The absolute path without links, as far as it exists.
std::filesystem::path resolved(const std::string& path) {
  std::error_code failure;
  std::filesystem::path whole = std::filesystem::absolute(path, failure);
  if (!failure) whole = std::filesystem::weakly_canonical(whole, failure);
  return failure ? std::filesystem::path(path) : whole;
}

/// Whether a log at `path` would take the place of the file that holds the settings.
bool isSettingsFile(const std::string& path) {
  const char* settings = std::getenv("KVS_FILE");
  if (settings == nullptr || *settings == '\0') return false;
  std::error_code failure;
  if (std::filesystem::equivalent(path, settings, failure)) return true;
  return resolved(path) == resolved(settings);  // it need not exist yet
}

/// Where the variable "index" stands in a sample of these variables, if they have one of 32 bits.
std::optional<std::size_t> offsetOfIndex(const std::vector<telemetry::VarDesc>& variables) {
  std::size_t offset = 0;
  for (const telemetry::VarDesc& variable : variables) {
    if (variable.name == "index" && variable.type == TLM_VAR_INT32) return offset;
    offset += variable.elementBytes * variable.count;
  }
  return std::nullopt;
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
  const auto text = value.type == KVS_TYPE_STRING ? std::optional<std::string>(value.text) : std::nullopt;
  if (key == LOGDIR) {
    directory = text;
  } else if (key == LOGNAME) {
    name = text;
  } else if (key == FILTER) {
    filter = text.value_or("");
  } else if (key == FLUSHPERIOD) {
    flushPeriod = value.type == KVS_TYPE_INT ? value.integer : 0;
  } else {
    // Also when it was enabled before: the new directory and name stand for another log.
    closeLog();
    enabled = value.type == KVS_TYPE_BOOL && value.boolean;
    wasEnabled = wasEnabled || enabled;
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
  // Only who never asked for a log can do without a word: -ENOENT passes in silence.
  if (!enabled) return wasEnabled ? -ESHUTDOWN : -ENOENT;
  if (status == 0) status = write(producer, time);
  return status;
}

bool LoggingService::admits(const std::string& section) const {
  // With separators around both, so that "nav" is not found within "navigation".
  return (";" + filter + ";").find(";" + section + ";") != std::string::npos;
}

std::string LoggingService::path() const {
  return directory.value_or("") + "/" + name.value_or("");
}

void LoggingService::openLog() {
  lastWhole.reset();
  // A part that could not be set must not be left out: the rest would be the path of another file.
  if (!directory || !name) {
    status = -EINVAL;
    return;
  }
  if (isSettingsFile(path())) {
    log_print("blackboxlog", LOG_ERR, "Log %s would overwrite the settings file, nothing is written",
              path().c_str());
    status = -EPERM;
    return;
  }
  status = writer.open(path(), header);
  // The file is created when it is missing, so its directory is missing; put() returns -ENOENT for
  // disabled.
  if (status == -ENOENT) status = -ENOTDIR;
  lastFlush = now();
}

int LoggingService::write(const telemetry::Producer& producer, const timespec& time) {
  const auto [found, isNew] = sections.try_emplace(producer.section);
  Section& section = found->second;
  if (isNew && admits(producer.section)) {
    const std::vector<telemetry::VarDesc> variables = producer.descriptions();
    const int result = writer.addSection(producer.section, variables);
    if (result < 0) return result;
    section.id = static_cast<unsigned int>(result);
    section.sample.resize(producer.sampleBytes());
    section.indexOffset = offsetOfIndex(variables);
  }
  if (section.sample.empty()) return 0;  // left out by the filter
  producer.pack(section.sample.data());
  int result = writer.sample(section.id, time, section.sample.data(), section.sample.size());
  unwritten.push_back({writer.sampleEnd(), section.index()});
  if (result == 0) result = flushWhenDue();
  noteWritten();
  return result;
}

std::int64_t LoggingService::Section::index() const {
  std::int32_t number = 0;
  if (indexOffset) std::memcpy(&number, &sample[*indexOffset], sizeof number);
  return number;
}

/// Keeps account of how far the log has come to the kernel.
void LoggingService::noteWritten() {
  while (!unwritten.empty() && unwritten.front().end <= writer.written()) {
    lastWhole = unwritten.front().index;
    unwritten.pop_front();
  }
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
  noteWritten();
  if (open && result < 0) {
    log_print("blackboxlog", LOG_ERR, "Could not write the end of %s : %s", path().c_str(),
              std::strerror(-result));
  }
  if (!unwritten.empty()) reportWholePart();
  unwritten.clear();
  return open ? result : 0;
}

/// For a log that lacks samples which were put.
void LoggingService::reportWholePart() const {
  if (lastWhole) {
    log_print("blackboxlog", LOG_ERR, "New log %s is whole up to index %lli", path().c_str(),
              static_cast<long long>(*lastWhole));
  } else {
    log_print("blackboxlog", LOG_ERR, "New log %s holds no step", path().c_str());
  }
}

}  // namespace blackboxlog
