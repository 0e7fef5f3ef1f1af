#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "evloop/evl_loop.h"

namespace {

struct EventLoop : testing::Test {
  ~EventLoop() override {
    evl_loop_destroy(loop);
    for (const int fd : fds) close(fd);
  }
  static void drain(int fd, uint32_t revents, void*) {
    eventfd_t ignored = 0;
    EXPECT_EQ(revents, uint32_t{EPOLLIN});
    EXPECT_EQ(eventfd_read(fd, &ignored), 0);
  }
  /// Leaves the descriptors ready and puts new watches in the place of all, the called one included.
  static void replaceAll(int, uint32_t, void* test) {
    for (const int fd : static_cast<EventLoop*>(test)->fds) {
      EXPECT_EQ(evl_loop_remove_fd(static_cast<EventLoop*>(test)->loop, fd), 0);
      EXPECT_EQ(evl_loop_add_fd(static_cast<EventLoop*>(test)->loop, fd, EPOLLIN, drain, test), 0);
    }
  }

  evl_loop* loop = evl_loop_new();
  std::array<int, 3> fds{eventfd(1, 0), eventfd(1, 0), eventfd(1, 0)};
};

TEST_F(EventLoop, AnEventOfARemovedDescriptorIsNotGivenToItsReplacement) {
  for (const int fd : fds) EXPECT_EQ(evl_loop_add_fd(loop, fd, EPOLLIN, replaceAll, this), 0);
  EXPECT_EQ(evl_loop_add_fd(loop, fds[0], EPOLLIN, drain, this), -EEXIST);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 1);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 3);  // still ready, now for those attached anew
  EXPECT_EQ(evl_loop_wait_and_process(loop, 0), -ETIMEDOUT);
}

}  // namespace
