#include <gtest/gtest.h>

#include <cerrno>
#include <climits>

#include "logfile/ErrorText.hpp"

TEST(ErrorText, IsThatOfTheNegatedErrno) {
  EXPECT_STREQ(errorText(-ENOENT), "No such file or directory");
}

TEST(ErrorText, AnyIntegerHasOne) {
  EXPECT_STREQ(errorText(INT_MAX), "Unknown error -2147483647");
  EXPECT_STREQ(errorText(INT_MIN), "Unknown error -2147483648");
}
