#ifndef EVLOOP_EVL_LOOP_H
#define EVLOOP_EVL_LOOP_H

#include <stdint.h>

/// The event loop: waits on file descriptors and runs their callbacks.
///
/// A callback runs only inside evl_loop_wait_and_process(), on the caller's thread. A loop and everything
/// attached to it belong to one thread; whoever wants to wake it from elsewhere attaches an eventfd and
/// writes to that. Results are 0 or a count, or a negated errno.

#ifdef __cplusplus
extern "C" {
#endif

/// One event loop. Made by evl_loop_new(), owned by the caller.
typedef struct evl_loop evl_loop;

/// Called when `fd` is ready. `revents` is the set of EPOLLIN, EPOLLOUT, EPOLLERR, EPOLLHUP that it is
/// ready for. May add and remove descriptors, its own included, and may wait on the same loop; must not
/// destroy it.
typedef void (*evl_fd_cb)(int fd, uint32_t revents, void* userdata);

/// A new loop with nothing attached, or null with errno set. Release it with evl_loop_destroy().
evl_loop* evl_loop_new(void);

/// Waits until at least one descriptor is ready, then runs the callback of each that is.
///
/// `timeout_ms` is in milliseconds: 0 looks without waiting, a negative value has no limit. A signal
/// neither fails the wait nor prolongs it: the wait goes on for what is left of its time. An owner that
/// must act on signals bounds its waits, or attaches a signalfd.
///
///   > 0          number of callbacks run
///   -ETIMEDOUT   the time is over and no descriptor became ready
///   -EINVAL      no loop
///   -errno       the wait itself failed; no callback was run
int evl_loop_wait_and_process(evl_loop* loop, int timeout_ms);

/// Attaches `fd`, for other platform layers: from the next wait on, `callback` runs with `userdata` as
/// often as `fd` is ready for one of `events` (EPOLLIN, EPOLLOUT; level-triggered). The descriptor stays
/// the caller's, who removes it before closing it.
///
///   0         attached
///   -EINVAL   no loop or no callback
///   -EEXIST   already attached to this loop
///   -errno    the kernel can't wait on it (-EBADF, -EPERM for a regular file, -ENOSPC, ...)
int evl_loop_add_fd(evl_loop* loop, int fd, uint32_t events, evl_fd_cb callback, void* userdata);

/// Detaches `fd`: its callback isn't called any more, not even for an event that the wait under way has
/// already met. The descriptor stays open.
///
///   0         detached
///   -EINVAL   no loop
///   -ENOENT   not attached to this loop
int evl_loop_remove_fd(evl_loop* loop, int fd);

/// Releases a loop; null does nothing. Descriptors still attached stay open and are forgotten. Not from
/// inside a callback.
void evl_loop_destroy(evl_loop* loop);

#ifdef __cplusplus
}
#endif

#endif
