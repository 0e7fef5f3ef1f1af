#include "evloop/evl_loop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <map>

namespace {

using Clock = std::chrono::steady_clock;

struct Watch {
  int fd;
  evl_fd_cb callback;
  void* userdata;
};

/// Milliseconds left until `deadline`, rounded up so that a wait never ends before its time.
int millisecondsUntil(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
}

}  // namespace

struct evl_loop {
  int epollFd;
  // By a number that is never used again, not by descriptor: a callback may remove a descriptor and attach
  // another of the same number, which must not get the events that were met for the first.
  std::map<uint64_t, Watch> watches;
  uint64_t nextId = 0;

  auto find(int fd) {
    return std::find_if(watches.begin(), watches.end(),
                        [fd](const auto& item) { return item.second.fd == fd; });
  }
};

evl_loop* evl_loop_new(void) {
  const int epollFd = epoll_create1(EPOLL_CLOEXEC);
  return epollFd < 0 ? nullptr : new evl_loop{epollFd, {}};
}

int evl_loop_wait_and_process(evl_loop* loop, int timeout_ms) {
  if (loop == nullptr) return -EINVAL;

  // Without a limit the deadline means nothing and is not looked at.
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  std::array<epoll_event, 16> events;  // more ready descriptors wait for the next call
  int ready = 0;
  int left = timeout_ms;
  while ((ready = epoll_wait(loop->epollFd, events.data(), events.size(), left)) < 0) {
    if (errno != EINTR) return -errno;
    if (timeout_ms >= 0) left = millisecondsUntil(deadline);
  }
  if (ready == 0) return -ETIMEDOUT;

  int called = 0;
  for (int i = 0; i < ready; ++i) {
    const epoll_event& event = events[static_cast<size_t>(i)];
    const uint64_t id = event.data.u64;  // a copy: a packed record's member can't be referred to
    const auto found = loop->watches.find(id);
    // An earlier callback of this round has removed it.
    if (found == loop->watches.end()) continue;
    const Watch watch = found->second;  // a copy: the callback may remove the original
    watch.callback(watch.fd, event.events, watch.userdata);
    ++called;
  }
  return called;
}

int evl_loop_add_fd(evl_loop* loop, int fd, uint32_t events, evl_fd_cb callback, void* userdata) {
  if (loop == nullptr || callback == nullptr) return -EINVAL;

  epoll_event event{};
  event.events = events;
  // The kernel gives this number back with each event.
  event.data.u64 = loop->nextId;
  if (epoll_ctl(loop->epollFd, EPOLL_CTL_ADD, fd, &event) != 0) return -errno;
  loop->watches.emplace(loop->nextId++, Watch{fd, callback, userdata});
  return 0;
}

int evl_loop_remove_fd(evl_loop* loop, int fd) {
  if (loop == nullptr) return -EINVAL;
  const auto found = loop->find(fd);
  if (found == loop->watches.end()) return -ENOENT;

  // Fails only for a descriptor that was closed too early, which the kernel has then forgotten by itself.
  static_cast<void>(epoll_ctl(loop->epollFd, EPOLL_CTL_DEL, fd, nullptr));
  loop->watches.erase(found);
  return 0;
}

void evl_loop_destroy(evl_loop* loop) {
  if (loop == nullptr) return;
  close(loop->epollFd);
  delete loop;
}
