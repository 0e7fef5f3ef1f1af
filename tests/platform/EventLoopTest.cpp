#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

#include "evloop/evl_loop.h"

namespace {

TEST(EventLoop, AnEventOfARemovedDescriptorIsNotGivenToItsReplacement) {
  static evl_loop* const loop = evl_loop_new();
  static const int fds[] = {eventfd(1, 0), eventfd(1, 0), eventfd(1, 0)};
  static const evl_fd_cb drain = [](int fd, uint32_t revents, void*) {
    eventfd_t ignored = 0;
    EXPECT_EQ(revents, uint32_t{EPOLLIN});
    EXPECT_EQ(eventfd_read(fd, &ignored), 0);
  };
  // Leaves the descriptors ready and puts new watches in the place of all, the called one included.
  const evl_fd_cb replaceAll = [](int, uint32_t, void*) {
    for (const int fd : fds) {
      EXPECT_EQ(evl_loop_remove_fd(loop, fd), 0);
      EXPECT_EQ(evl_loop_add_fd(loop, fd, EPOLLIN, drain, nullptr), 0);
    }
  };
  for (const int fd : fds) EXPECT_EQ(evl_loop_add_fd(loop, fd, EPOLLIN, replaceAll, nullptr), 0);
  EXPECT_EQ(evl_loop_add_fd(loop, fds[0], EPOLLIN, drain, nullptr), -EEXIST);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 1);
  EXPECT_EQ(evl_loop_wait_and_process(loop, -1), 3);  // still ready, now for those attached anew
  EXPECT_EQ(evl_loop_wait_and_process(loop, 0), -ETIMEDOUT);
  evl_loop_destroy(loop);
  for (const int fd : fds) close(fd);
}

}  // namespace
