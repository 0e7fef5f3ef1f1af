#include "logfile/ServiceProbe.hpp"

#include <cerrno>
#include <ctime>
#include <utility>

#include "kvs/kvs.h"
#include "ostrel/log_tlmb.h"

namespace {

ServiceProbe* probe = nullptr;
kvs_cb clientCallback = nullptr;
void* clientData = nullptr;

int call(const std::string& text) {
  probe->calls.push_back(text);
  return probe->results[text];
}

int callAndAnswer(const std::string& text) {
  const int result = call(text);
  if (result >= 0) ++probe->pending;
  return result;
}

/// A key of the logging service's without the service's name; another one as it is.
std::string shortened(const std::string& key) {
  const std::string service = "tlm-blackbox.";
  return key.rfind(service, 0) == 0 ? key.substr(service.size()) : key;
}

int set(const std::string& key, const std::string& text) {
  return callAndAnswer("set " + shortened(key) + "=" + text);
}

}  // namespace

ServiceProbe::ServiceProbe() {
  probe = this;
}

ServiceProbe::~ServiceProbe() {
  probe = nullptr;
}

std::vector<std::string> ServiceProbe::takeCalls() {
  return std::exchange(calls, {});
}

// clang-format off
extern "C" {
int clock_gettime(clockid_t, timespec* time) noexcept {
  const long now = probe != nullptr ? probe->milliseconds : 0;
  *time = {now / 1000, now % 1000 * 1000000};
  return 0;
}
evl_loop* evl_loop_new(void) { return reinterpret_cast<evl_loop*>(&probe); }
void evl_loop_destroy(evl_loop*) { call("loop destroyed"); }
int evl_loop_wait_and_process(evl_loop*, int timeout) {
  const int result = call("wait " + std::to_string(timeout));
  if (result < 0) return result;
  if (probe->pending == 0) {
    probe->milliseconds += timeout;
    return -ETIMEDOUT;
  }
  --probe->pending;
  clientCallback(nullptr, KVS_EVT_CHANGED, nullptr, nullptr, 0, clientData);
  return 1;
}
kvs_ctx* kvs_ctx_new_client(kvs_cb callback, void* userdata) {
  clientCallback = callback;
  clientData = userdata;
  return call("client") < 0 ? nullptr : reinterpret_cast<kvs_ctx*>(&probe);
}
int kvs_ctx_evl_loop_register(kvs_ctx*, evl_loop*) { return call("register"); }
int kvs_ctx_evl_loop_unregister(kvs_ctx*, evl_loop*) { return call("unregister"); }
int kvs_ctx_subscribe(kvs_ctx*, const char* key, kvs_cb, void*) { return call("watch " + shortened(key)); }
int kvs_ctx_start(kvs_ctx*) { return callAndAnswer("start"); }
int kvs_ctx_stop(kvs_ctx*) { return call("stop"); }
void kvs_ctx_destroy(kvs_ctx*) { call("client destroyed"); }
int kvs_ctx_get(kvs_ctx*, const char*, kvs_value*) { return -ENOENT; }
int kvs_ctx_set(kvs_ctx*, const char* key, const kvs_value*) { return set(key, "nothing"); }
int kvs_ctx_set_string(kvs_ctx*, const char* key, const char* text) { return set(key, text); }
int kvs_ctx_set_bool(kvs_ctx*, const char* key, bool value) { return set(key, value ? "true" : "false"); }
int kvs_ctx_set_int(kvs_ctx*, const char* key, int value) { return set(key, std::to_string(value)); }
int ostrel_log_tlmb_init(const char* name, int capacity, int rate) {
  return call(std::string("init ") + name + " " + std::to_string(capacity) + " " + std::to_string(rate));
}
int ostrel_log_tlmb_cleanup(void) { return call("cleanup"); }
}
// clang-format on
