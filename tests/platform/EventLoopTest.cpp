#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "evloop/evl_loop.h"
#include "support/TestClock.hpp"

namespace {

int interruptions = 0;             // of the coming waits; each comes 1.5 seconds after the wait's begin
std::vector<int> timeoutsOfWaits;  // as the kernel got them

struct EventLoop : testing::Test {
  ~EventLoop() override {
    evl_loop_destroy(loop);
    for (const int fd : fds) close(fd);
  }
  static void drain(int fd, uint32_t revents, void* calls) {
    eventfd_t ignored = 0;
    EXPECT_EQ(revents, uint32_t{EPOLLIN});
    EXPECT_EQ(eventfd_read(fd, &ignored), 0);
    ++*static_cast<int*>(calls);
  }
  evl_loop* const loop = evl_loop_new();
  const std::vector<int> fds = {eventfd(1, 0), eventfd(1, 0), eventfd(1, 0)};  // all of them ready
  int calls = 0;
};

TEST_F(EventLoop, CallsBackForEachReadyDescriptor) {
  for (const int fd : fds) EXPECT_EQ(evl_loop_add_fd(loop, fd, EPOLLIN, drain, &calls), 0);
  EXPECT_EQ(evl_loop_add_fd(loop, fds[0], EPOLLIN, drain, &calls), -EEXIST);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 3);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(evl_loop_wait_and_process(loop, 0), -ETIMEDOUT);
}

TEST_F(EventLoop, EventOfARemovedDescriptorIsNotGivenToItsReplacement) {
  // Leaves the descriptors ready and puts new watches in the place of all, the called one included.
  const evl_fd_cb replaceAll = [](int, uint32_t, void* self) {
    auto& test = *static_cast<EventLoop*>(self);
    for (const int fd : test.fds) {
      EXPECT_EQ(evl_loop_remove_fd(test.loop, fd), 0);
      EXPECT_EQ(evl_loop_add_fd(test.loop, fd, EPOLLIN, drain, &test.calls), 0);
    }
  };
  for (const int fd : fds) EXPECT_EQ(evl_loop_add_fd(loop, fd, EPOLLIN, replaceAll, this), 0);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 1);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 3);
  EXPECT_EQ(calls, 3);
}

TEST_F(EventLoop, InterruptedWaitGoesOnForWhatIsLeft) {
  const std::pair<int, std::vector<int>> waits[] = {
      {5000, {5000, 3500, 2000}}, {2000, {2000, 500, 0}}, {-1, {-1, -1, -1}}};
  for (const auto& [timeout, expected] : waits) {
    interruptions = 2;
    timeoutsOfWaits.clear();
    EXPECT_EQ(evl_loop_wait_and_process(loop, timeout), -ETIMEDOUT);
    EXPECT_EQ(timeoutsOfWaits, expected);
  }
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
