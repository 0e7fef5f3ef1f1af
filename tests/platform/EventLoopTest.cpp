#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <vector>

#include "evloop/evl_loop.h"
#include "support/TestClock.hpp"

namespace {

int interruptions = 0;             // of the coming waits; each comes 1.5 seconds after the wait's begin
std::vector<int> timeoutsOfWaits;  // as the kernel got them

TEST(EventLoop, InterruptedWaitGoesOnForWhatIsLeft) {
  evl_loop* const loop = evl_loop_new();
  const std::pair<int, std::vector<int>> waits[] = {{2000, {2000, 500, 0}}, {-1, {-1, -1, -1}}};
  for (const auto& [timeout, expected] : waits) {
    interruptions = 2;
    timeoutsOfWaits.clear();
    EXPECT_EQ(evl_loop_wait_and_process(loop, timeout), -ETIMEDOUT);
    EXPECT_EQ(timeoutsOfWaits, expected);
  }
  evl_loop_destroy(loop);
}

TEST(EventLoop, CallsBackForEachReadyDescriptorUntilItIsRemoved) {
  evl_loop* const loop = evl_loop_new();
  const std::vector<int> ready = {eventfd(1, 0), eventfd(1, 0)};
  static int calls = 0;
  const evl_fd_cb count = [](int, uint32_t, void*) { ++calls; };
  for (const int fd : ready) EXPECT_EQ(evl_loop_add_fd(loop, fd, EPOLLIN, count, nullptr), 0);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 2);
  EXPECT_EQ(evl_loop_remove_fd(loop, ready[0]), 0);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 1);
  EXPECT_EQ(calls, 3);
  evl_loop_destroy(loop);
}

}  // namespace

// Stands in for the kernel's wait: notes the time-out, and looks without waiting.
extern "C" int epoll_wait(int epollFd, epoll_event* events, int room, int timeout) {
  timeoutsOfWaits.push_back(timeout);
  if (interruptions-- <= 0) return epoll_pwait(epollFd, events, room, 0, nullptr);
  testSeconds += 1.5;
  errno = EINTR;
  return -1;
}
