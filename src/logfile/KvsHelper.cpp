#include "logfile/KvsHelper.hpp"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "logfile/ErrorText.hpp"
#include "logservice/log.h"
#include "registry/LogTag.hpp"

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

/// How long one request may stay unanswered before the replay goes on without an answer.
constexpr milliseconds PATIENCE{5000};
/// The same once the service has left a request unanswered, until it answers again: a replay with an export
/// makes about a dozen requests, which would otherwise cost PATIENCE each.
constexpr milliseconds LITTLE_PATIENCE{50};

}  // namespace

KvsHelper::KvsHelper() {
  loop = evl_loop_new();
  if (loop != nullptr) ctx = kvs_ctx_new_client(static_cb, this);
  if (ctx != nullptr && kvs_ctx_evl_loop_register(ctx, loop) < 0) {
    kvs_ctx_destroy(ctx);  // without a loop no answer ever arrives
    ctx = nullptr;
  }
  // Only a warning: a replay without settings is still a replay, it just records no new log.
  if (ctx == nullptr) log_print(LOG_TAG, LOG_WARNING, "Could not create KVS context");
}

KvsHelper::~KvsHelper() {
  if (ctx != nullptr) {
    for (const auto& [key, value] : saved) {
      // An empty saved value deletes the key, so settings that did not exist before are gone again
      // afterwards.
      waitAck(kvs_ctx_set(ctx, key.c_str(), &value));
    }
    kvs_ctx_stop(ctx);
    kvs_ctx_evl_loop_unregister(ctx, loop);
    kvs_ctx_destroy(ctx);
  }
  if (loop != nullptr) evl_loop_destroy(loop);
}

void KvsHelper::static_cb(kvs_ctx* context, kvs_evt event, const kvs_entry* /*before*/,
                          const kvs_entry* /*after*/, std::size_t /*count*/, void* userdata) {
  static_cast<KvsHelper*>(userdata)->cb(context, event);
}

void KvsHelper::cb(kvs_ctx* /*context*/, kvs_evt /*event*/) {
  // Any event counts as an answer, since the helper makes one request at a time.
  waiting = false;
  silent = false;
}

void KvsHelper::waitAck(int requested) {
  if (ctx == nullptr) return;
  const steady_clock::time_point deadline = steady_clock::now() + (silent ? LITTLE_PATIENCE : PATIENCE);
  while (waiting) {
    // Rounded up, so that the last fraction of a millisecond is waited for and not polled away.
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    const int timeout = requested < 0 ? 0 : static_cast<int>(std::max(left, milliseconds::zero()).count());
    const int result = evl_loop_wait_and_process(loop, timeout);
    if (!waiting || requested < 0) break;
    // The loop may have handled another event, or a signal may have ended the wait: neither is an answer.
    if (timeout > 0 && (result >= 0 || result == -EINTR)) continue;
    silent = true;
    log_print(LOG_TAG, LOG_WARNING, "No answer from the settings service : %s",
              errorText(result < 0 ? result : -ETIMEDOUT));
    break;
  }
  waiting = true;
}
