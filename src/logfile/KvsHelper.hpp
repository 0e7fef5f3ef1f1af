#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>

#include "evloop/evl_loop.h"
#include "kvs/kvs.h"

/// A synchronous client of the settings service: each request is followed by waitAck(), which drives the
/// helper's private event loop until the service has answered.
///
/// The owner puts the settings that it borrows into `saved`; the destructor sets them back.
/// Single-threaded: the service's callback only runs inside waitAck().
class KvsHelper {
 public:
  /// Creates the loop and the client context, and attaches one to the other. Without a context, which is
  /// logged, nothing can be requested.
  KvsHelper();
  KvsHelper(const KvsHelper&) = delete;
  KvsHelper& operator=(const KvsHelper&) = delete;
  /// Puts the saved settings back, then stops and releases the client and the loop.
  ~KvsHelper();

  /// The callback to give to the settings service, with the helper as `userdata`.
  static void static_cb(kvs_ctx* context, kvs_evt event, const kvs_entry* before, const kvs_entry* after,
                        std::size_t count, void* userdata);

  /// Ends the wait under way, whatever the event.
  void cb(kvs_ctx* context, kvs_evt event);

  /// Waits for the answer to the last request, whose result was `requested`, or to the start of the client.
  /// Gives up with a warning after 5 seconds, and from then on, until the service has answered once, after
  /// 50 ms, so that a service that never answers delays a replay by 6 seconds at most. After a refused
  /// request only an answer that is there already is taken; without a context there is nothing to wait for.
  void waitAck(int requested = 0);

  kvs_ctx* ctx = nullptr;    ///< owned; null when the settings service has none for us
  evl_loop* loop = nullptr;  ///< owned
  bool waiting = true;       ///< an answer is awaited
  bool silent = false;       ///< the service left a request unanswered, and has answered none since
  std::unordered_map<std::string, kvs_value> saved;  ///< by key: what to put back
};
