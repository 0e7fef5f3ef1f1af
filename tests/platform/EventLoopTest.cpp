#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>

#include "evloop/evl_loop.h"

namespace {

class EventLoop : public testing::Test {
 protected:
  EventLoop() {
    for (int& fd : fds) fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  }
  ~EventLoop() override {
    evl_loop_destroy(loop);
    for (const int fd : fds) close(fd);
  }

  /// Leaves the descriptor ready and removes all of them, itself included.
  static void removeAll(int, uint32_t, void* userdata) {
    auto* test = static_cast<EventLoop*>(userdata);
    ++test->calls;
    for (const int fd : test->fds) EXPECT_EQ(evl_loop_remove_fd(test->loop, fd), 0);
  }
  static void replaceAll(int fd, uint32_t revents, void* userdata) {
    auto* test = static_cast<EventLoop*>(userdata);
    removeAll(fd, revents, userdata);
    for (const int again : test->fds) evl_loop_add_fd(test->loop, again, EPOLLIN, drain, userdata);
  }
  static void drain(int fd, uint32_t revents, void* userdata) {
    EXPECT_EQ(revents, uint32_t{EPOLLIN});
    eventfd_t ignored = 0;
    EXPECT_EQ(eventfd_read(fd, &ignored), 0);
    ++static_cast<EventLoop*>(userdata)->calls;
  }

  void attachAll(evl_fd_cb callback) {
    for (const int fd : fds) ASSERT_EQ(evl_loop_add_fd(loop, fd, EPOLLIN, callback, this), 0);
  }
  void signalAll() {
    for (const int fd : fds) ASSERT_EQ(eventfd_write(fd, 1), 0);
  }

  evl_loop* loop = evl_loop_new();
  std::array<int, 3> fds{};
  int calls = 0;
};

TEST_F(EventLoop, RunsCallbacksOnlyInsideTheWaitAndOncePerEvent) {
  attachAll(drain);
  signalAll();
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 3);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(evl_loop_wait_and_process(loop, 0), -ETIMEDOUT);
}

TEST_F(EventLoop, ACallbackMayRemoveItselfAndOthersThatAreReady) {
  attachAll(removeAll);
  EXPECT_EQ(evl_loop_add_fd(loop, fds[0], EPOLLIN, drain, this), -EEXIST);
  signalAll();
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 1);
  EXPECT_EQ(evl_loop_wait_and_process(loop, 0), -ETIMEDOUT);
}

TEST_F(EventLoop, AnEventOfTheRemovedDescriptorIsNotGivenToItsReplacement) {
  attachAll(replaceAll);
  signalAll();
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 1);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 3);  // still ready, now for those attached anew
}

TEST_F(EventLoop, SignalsNeitherFailNorProlongTheWait) {
  std::signal(SIGALRM, [](int) {});
  const itimerval often{{0, 7000}, {0, 7000}};
  const itimerval never{};
  const auto start = std::chrono::steady_clock::now();
  setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_EQ(evl_loop_wait_and_process(loop, 50), -ETIMEDOUT);
  setitimer(ITIMER_REAL, &never, nullptr);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(50));
  EXPECT_LT(waited, std::chrono::seconds(5));
}

}  // namespace
