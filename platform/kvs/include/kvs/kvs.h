#ifndef KVS_KVS_H
#define KVS_KVS_H

#include <stdbool.h>
#include <stddef.h>

#include "evloop/evl_loop.h"

/// The settings service: typed values under keys, and clients that are told of every change.
///
/// The environment variable KVS_FILE names the file of the settings; when it is unset or empty they are in
/// memory alone. The first client context of the process opens and loads the store, all contexts share it,
/// and the release of the last one closes it, which forgets settings in memory. While a file is open, no
/// other process can open it, and what is written to it meanwhile may be lost.
///
/// The file holds one setting a line: the letter of its type, its key and its value, between single blanks.
///
///   s tlm-blackbox.logdir /data/flights   a text; control characters, '%' and a blank at either end are
///                                         written %XX (upper-case hexadecimal), the empty text as nothing
///   b tlm-blackbox.enabled true           true or false
///   i tlm-blackbox.flushperiod 1          a decimal int, without plus sign or leading zeros
///
/// Blank lines, and those that begin with '#' after any blanks, are comments. Lines may end in CR LF. The
/// last line of a key wins. Any other line is damaged: it sets nothing, and one warning reports them all.
///
/// When the store is closed and its settings differ from those loaded, the file is replaced as a whole by
/// the settings sorted by key, without comments and damaged lines. Otherwise the file is not written at
/// all, so a process that puts back what it has changed leaves it as it was, and so does one that is
/// killed.
///
/// Single-threaded: all contexts and their loops belong to one thread. Results are 0, or a negated errno:
/// -EINVAL for a null argument, unless it is allowed, and for a key that is empty or has blanks or control
/// characters.

/// Size of a text value in bytes, its terminating NUL included: any path fits.
#define KVS_TEXT_MAX 4096

/// Events that a context keeps until its loop is processed. One more drops the oldest, so that a client
/// that never listens costs no more memory.
#define KVS_EVENTS_MAX 32

#ifdef __cplusplus
extern "C" {
#endif

typedef enum kvs_type {
  KVS_TYPE_NONE = 0,  ///< empty: no such setting
  KVS_TYPE_STRING,
  KVS_TYPE_BOOL,
  KVS_TYPE_INT
} kvs_type;

/// The value of a setting: a plain record, which assigning copies. All zero is the empty value. The members
/// of other types than the value's mean nothing.
typedef struct kvs_value {
  int type;  ///< a kvs_type
  int integer;
  bool boolean;
  char text[KVS_TEXT_MAX];  ///< NUL-terminated; any bytes, not necessarily printable ones
} kvs_value;

/// A setting as an event shows it. Borrowed: valid until the callback returns.
typedef struct kvs_entry {
  const char* key;
  const kvs_value* value;  ///< the empty value when there is no such setting
} kvs_entry;

typedef enum kvs_evt {
  KVS_EVT_STARTED,  ///< the context was started
  KVS_EVT_CHANGED   ///< a setting was set, perhaps to the value that it already had, or deleted
} kvs_evt;

/// One client of the service. Made by kvs_ctx_new_client(), owned by the caller.
typedef struct kvs_ctx kvs_ctx;

/// Told of an event of `ctx`, only from inside evl_loop_wait_and_process() of its loop. `before` and
/// `after` are arrays of `count` settings: one for KVS_EVT_CHANGED, none (null pointers) for
/// KVS_EVT_STARTED. May call any operation of the service but kvs_ctx_destroy() of its own context.
typedef void (*kvs_cb)(kvs_ctx* ctx, kvs_evt event, const kvs_entry* before, const kvs_entry* after,
                       size_t count, void* userdata);

/// A new client context, stopped. Null, after one error line that says why, when the store can't be opened:
/// the file is in use by another process, unreadable, a dangling link, no regular file, larger than 1 MiB,
/// or in a directory that doesn't exist or can't be written. `callback` (may be null) is called for the
/// events that no subscription's callback takes.
kvs_ctx* kvs_ctx_new_client(kvs_cb callback, void* userdata);

/// Attaches the context to `loop`, which delivers its events; they wait until then. The loop is borrowed
/// until kvs_ctx_evl_loop_unregister() or kvs_ctx_destroy(). -EBUSY: already on a loop.
int kvs_ctx_evl_loop_register(kvs_ctx* ctx, evl_loop* loop);

/// Detaches the context from `loop`. -EINVAL when it isn't on that loop.
int kvs_ctx_evl_loop_unregister(kvs_ctx* ctx, evl_loop* loop);

/// From now on every set of `key`, by whichever context of the process, is an event of this one, given to
/// `callback`, or to the context's own callback when that is null. A second call for a key replaces the
/// first.
int kvs_ctx_subscribe(kvs_ctx* ctx, const char* key, kvs_cb callback, void* userdata);

/// Starts delivery: one KVS_EVT_STARTED, then the changes of what the context has subscribed to or sets
/// itself. -EALREADY: started before.
int kvs_ctx_start(kvs_ctx* ctx);

/// Ends delivery and drops the events not yet delivered.
int kvs_ctx_stop(kvs_ctx* ctx);

/// Releases a context, in any state; null does nothing. The last one closes the store; when its file then
/// can't be written, one error line names it, and the file holds the settings as they were.
void kvs_ctx_destroy(kvs_ctx* ctx);

/// Reads the current value of `key`. -ENOENT: no such setting. After a failure `value` is empty.
int kvs_ctx_get(kvs_ctx* ctx, const char* key, kvs_value* value);

/// Sets `key` to `value`; the empty value deletes the setting, also one that doesn't exist. Success is one
/// event to this context when it is started, and to every other started one that has subscribed to the key.
/// After a failure there is no event, and the setting is as before. -EINVAL: a value of no known type;
/// -EMSGSIZE: a text without its NUL within KVS_TEXT_MAX bytes; -EFBIG: the store would outgrow 1 MiB.
int kvs_ctx_set(kvs_ctx* ctx, const char* key, const kvs_value* value);
int kvs_ctx_set_string(kvs_ctx* ctx, const char* key, const char* text);
int kvs_ctx_set_bool(kvs_ctx* ctx, const char* key, bool boolean);
int kvs_ctx_set_int(kvs_ctx* ctx, const char* key, int integer);

/// Makes `value`, whatever it held, the empty value.
void kvs_value_init(kvs_value* value);

/// Makes `target` a copy of `source`.
int kvs_value_copy(kvs_value* target, const kvs_value* source);

#ifdef __cplusplus
}
#endif

#endif
