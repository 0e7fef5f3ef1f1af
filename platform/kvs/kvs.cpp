#include "kvs/kvs.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <vector>

#include "logservice/log.h"
#include "settings_file.hpp"

namespace {

struct Listener {
  kvs_cb callback;
  void* userdata;
};

struct Event {
  kvs_evt kind;
  std::string key;
  kvs_value before;
  kvs_value after;
};

}  // namespace

struct kvs_ctx {
  Listener listener;
  std::shared_ptr<kvs::SettingsFile> settings;
  /// Counts the events that wait.
  kvs::UniqueFd wakeUp{eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC | EFD_SEMAPHORE)};
  evl_loop* loop = nullptr;
  bool started = false;
  std::map<std::string, Listener> subscriptions{};
  std::deque<Event> events{};
};

namespace {

std::vector<kvs_ctx*>& contexts() {
  // Never destroyed: the destructor of another static object may still release a context.
  static auto& all = *new std::vector<kvs_ctx*>;
  return all;
}

void enqueue(kvs_ctx& ctx, const Event& event) {
  if (ctx.events.size() == KVS_EVENTS_MAX) ctx.events.pop_front();
  ctx.events.push_back(event);
  eventfd_write(ctx.wakeUp.fd, 1);
}

/// The loop's callback: delivers one event. The loop calls again while more wait, so a callback may stop
/// the context or take it off the loop.
void deliver(int fd, uint32_t, void* userdata) {
  auto* ctx = static_cast<kvs_ctx*>(userdata);
  eventfd_t one = 0;
  eventfd_read(fd, &one);
  if (ctx->events.empty()) return;  // dropped in the meantime
  const Event event = std::move(ctx->events.front());
  ctx->events.pop_front();

  const auto subscription = ctx->subscriptions.find(event.key);
  const Listener listener = subscription != ctx->subscriptions.end() ? subscription->second : ctx->listener;
  if (listener.callback == nullptr) return;
  const bool isChange = event.kind == KVS_EVT_CHANGED;
  const kvs_entry before{event.key.c_str(), &event.before}, after{event.key.c_str(), &event.after};
  listener.callback(ctx, event.kind, isChange ? &before : nullptr, isChange ? &after : nullptr,
                    isChange ? 1 : 0, listener.userdata);
}

}  // namespace

kvs_ctx* kvs_ctx_new_client(kvs_cb callback, void* userdata) {
  const char* name = std::getenv("KVS_FILE");
  std::shared_ptr<kvs::SettingsFile> settings = !contexts().empty()
                                                    ? contexts().front()->settings
                                                    : kvs::SettingsFile::open(name != nullptr ? name : "");
  if (settings == nullptr) return nullptr;
  std::unique_ptr<kvs_ctx> ctx(new kvs_ctx{{callback, userdata}, std::move(settings)});
  if (ctx->wakeUp.fd < 0) {
    log_print("kvs", LOG_ERR, "Can't make a settings client: %s", strerror(errno));
    return nullptr;
  }
  contexts().push_back(ctx.get());
  return ctx.release();
}

int kvs_ctx_evl_loop_register(kvs_ctx* ctx, evl_loop* loop) {
  if (ctx == nullptr || loop == nullptr) return -EINVAL;
  if (ctx->loop != nullptr) return -EBUSY;
  const int result = evl_loop_add_fd(loop, ctx->wakeUp.fd, EPOLLIN, deliver, ctx);
  if (result == 0) ctx->loop = loop;
  return result;
}

int kvs_ctx_evl_loop_unregister(kvs_ctx* ctx, evl_loop* loop) {
  if (ctx == nullptr || loop == nullptr || ctx->loop != loop) return -EINVAL;
  ctx->loop = nullptr;
  return evl_loop_remove_fd(loop, ctx->wakeUp.fd);
}

int kvs_ctx_subscribe(kvs_ctx* ctx, const char* key, kvs_cb callback, void* userdata) {
  if (ctx == nullptr || key == nullptr || !kvs::isKey(key)) return -EINVAL;
  ctx->subscriptions.insert_or_assign(key,
                                      callback != nullptr ? Listener{callback, userdata} : ctx->listener);
  return 0;
}

int kvs_ctx_start(kvs_ctx* ctx) {
  if (ctx == nullptr) return -EINVAL;
  if (ctx->started) return -EALREADY;
  ctx->started = true;
  enqueue(*ctx, {KVS_EVT_STARTED, {}, {}, {}});
  return 0;
}

int kvs_ctx_stop(kvs_ctx* ctx) {
  if (ctx == nullptr) return -EINVAL;
  ctx->started = false;
  ctx->events.clear();
  return 0;
}

void kvs_ctx_destroy(kvs_ctx* ctx) {
  if (ctx == nullptr) return;
  if (ctx->loop != nullptr) evl_loop_remove_fd(ctx->loop, ctx->wakeUp.fd);
  contexts().erase(std::find(contexts().begin(), contexts().end(), ctx));
  delete ctx;
}

int kvs_ctx_get(kvs_ctx* ctx, const char* key, kvs_value* value) {
  if (value == nullptr) return -EINVAL;
  kvs_value_init(value);
  if (ctx == nullptr || key == nullptr || !kvs::isKey(key)) return -EINVAL;
  return ctx->settings->get(key, *value) ? 0 : -ENOENT;
}

int kvs_ctx_set(kvs_ctx* ctx, const char* key, const kvs_value* value) {
  if (ctx == nullptr || key == nullptr || !kvs::isKey(key) || value == nullptr) return -EINVAL;
  if (value->type < KVS_TYPE_NONE || value->type > KVS_TYPE_INT) return -EINVAL;
  const bool isTooLong = strnlen(value->text, sizeof(value->text)) == sizeof(value->text);
  if (value->type == KVS_TYPE_STRING && isTooLong) return -EMSGSIZE;

  Event event{KVS_EVT_CHANGED, key, {}, *value};
  ctx->settings->get(key, event.before);
  if (const int result = ctx->settings->set(key, *value); result < 0) return result;
  for (kvs_ctx* client : contexts()) {
    if (client->started && (client == ctx || client->subscriptions.count(key) != 0))
      enqueue(*client, event);
  }
  return 0;
}

int kvs_ctx_set_string(kvs_ctx* ctx, const char* key, const char* text) {
  if (text == nullptr) return -EINVAL;
  kvs_value value{KVS_TYPE_STRING, 0, false, {}};
  // Whole or as much as fits, which then lacks its NUL and is refused.
  std::memcpy(value.text, text, strnlen(text, sizeof(value.text)));
  return kvs_ctx_set(ctx, key, &value);
}

int kvs_ctx_set_bool(kvs_ctx* ctx, const char* key, bool boolean) {
  const kvs_value value{KVS_TYPE_BOOL, 0, boolean, {}};
  return kvs_ctx_set(ctx, key, &value);
}

int kvs_ctx_set_int(kvs_ctx* ctx, const char* key, int integer) {
  const kvs_value value{KVS_TYPE_INT, integer, false, {}};
  return kvs_ctx_set(ctx, key, &value);
}

void kvs_value_init(kvs_value* value) {
  if (value != nullptr) *value = kvs_value{};
}

int kvs_value_copy(kvs_value* target, const kvs_value* source) {
  if (target == nullptr || source == nullptr) return -EINVAL;
  *target = *source;
  return 0;
}
