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

/// The time by which flushes are due. Monotonic, so that setting the clock neither stops nor hastens them.
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
  // Also true for two names of one file.
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
  // The values of this moment are deliberately not read: only later changes count.
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
    // 0 means that only the writer's own buffer decides when to write.
    flushPeriod = value.type == KVS_TYPE_INT ? value.integer : 0;
  } else {
    // An open log is closed as well, because the new directory and name may mean another one.
    closeLog();
    enabled = value.type == KVS_TYPE_BOOL && value.boolean;
    wasEnabled = wasEnabled || enabled;
    if (enabled) openLog();
  }
}

/// Takes over all changes that wait, in their order, without waiting for more.
void LoggingService::takeSettings() {
  while (evl_loop_wait_and_process(loop, 0) > 0) {
  }
}

int LoggingService::put(const telemetry::Producer& producer, const timespec& time) {
  if (context == nullptr) return -ENOENT;
  takeSettings();
  // Callers do not report -ENOENT, so only a program that never asked for a log gets it.
  if (!enabled) return wasEnabled ? -ESHUTDOWN : -ENOENT;
  // After a failed write nothing more is written, so that the log has no gap.
  if (status == 0) status = write(producer, time);
  faultReturned = faultReturned || status < 0;
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
  // The filter is asked once per log; a later change of it counts for the next log.
  if (isNew && admits(producer.section)) {
    const std::vector<telemetry::VarDesc> variables = producer.descriptions();
    // Such as where another telemetry library keeps what is registered with it elsewhere.
    if (variables.empty()) return -ENODATA;
    const int result = writer.addSection(producer.section, variables);
    if (result < 0) return result;
    section.id = static_cast<unsigned int>(result);
    section.packer = SamplePacker(producer);
    section.sample.resize(section.packer.size());
    section.indexOffset = offsetOfIndex(variables);
  }
  if (section.sample.empty()) return 0;  // left out by the filter
  section.packer.pack(section.sample.data());
  int result = writer.sample(section.id, time, section.sample.data(), section.sample.size());
  // Noted before a flush, so that the flush can count it as written.
  unwritten.push_back({writer.sampleEnd(), section.index()});
  if (result == 0) result = flushWhenDue();
  noteWritten();
  return result;
}

std::int64_t LoggingService::Section::index() const {
  std::int32_t number = 0;
  // Copied, since the values of a sample are not aligned.
  if (indexOffset) std::memcpy(&number, &sample[*indexOffset], sizeof number);
  return number;
}

/// Forgets the samples that the kernel has by now, and notes the index of the last of them.
void LoggingService::noteWritten() {
  while (!unwritten.empty() && unwritten.front().end <= writer.written()) {
    lastWhole = unwritten.front().index;
    unwritten.pop_front();
  }
}

int LoggingService::flushWhenDue() {
  if (flushPeriod < 1) return 0;
  const timespec time = now();
  // Whole seconds are precise enough for a period in seconds.
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
  // Without a sample since, nobody has learnt that the log could not be opened.
  if (enabled && status < 0 && !faultReturned) {
    log_print("blackboxlog", LOG_ERR, "No new log %s : %s", path().c_str(), std::strerror(-status));
  }
  faultReturned = false;
  enabled = false;
  status = 0;
  // The next log describes its sections anew.
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

/// Says up to which index a log is whole that lacks samples which were put.
void LoggingService::reportWholePart() const {
  if (lastWhole) {
    log_print("blackboxlog", LOG_ERR, "New log %s is whole up to index %lli", path().c_str(),
              static_cast<long long>(*lastWhole));
  } else {
    log_print("blackboxlog", LOG_ERR, "New log %s holds no step", path().c_str());
  }
}

}  // namespace blackboxlog
