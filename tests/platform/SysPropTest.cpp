#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "support/TestFolder.hpp"
#include "sysprop/sys_prop.h"

namespace {

using namespace std::string_literals;

using Answer = std::pair<int, std::string>;  // result, and text in the buffer

// What sys_prop_get() answers for "key" with the property file at `path`.
Answer get(const std::string& path, const char* fallback = "default") {
  setenv("SYS_PROP_FILE", path.c_str(), 1);
  std::array<char, SYS_PROP_VALUE_MAX> value;
  value.fill('?');
  const int result = sys_prop_get("key", value.data(), fallback);
  unsetenv("SYS_PROP_FILE");
  return {result, value.data()};
}

TEST(PropertyStore, GivesTheValueOfTheKeysLastLine) {
  const std::vector<std::pair<std::string, Answer>> rows = {
      {"other=1\nkey=value\n", {5, "value"}},
      {"key=a\nkey=b", {1, "b"}},
      {" \tkey = a b \r\n", {3, "a b"}},
      {"key=a=b#c\n", {5, "a=b#c"}},
      {"key=\n", {0, ""}},
      {"#key=a\n # key=b\nkey\n=c\nkeys=d\n", {7, "default"}},
      {"key=" + std::string(91, 'x'), {91, std::string(91, 'x')}},
      {"key=" + std::string(92, 'x'), {-EMSGSIZE, "default"}},
      {"key=a\0b"s, {-EILSEQ, "default"}},
      {"key=value" + std::string((1 << 20) - 9, '\n'), {5, "value"}},
      {"key=value" + std::string((1 << 20) - 8, '\n'), {-EFBIG, "default"}},
  };
  const TestFolder folder;
  for (const auto& [file, answer] : rows) {
    EXPECT_EQ(get(folder.write("properties", file)), answer) << file.substr(0, 100);
  }
}

TEST(PropertyStore, TellsAMissingFileFromAnUnreadableOne) {
  const TestFolder folder;
  EXPECT_EQ(get(folder.path("missing")), Answer(7, "default"));
  EXPECT_EQ(get(folder.write("file", "") + "/below"), Answer(7, "default"));
  EXPECT_EQ(get(folder.path("missing"), nullptr), Answer(0, ""));
  EXPECT_EQ(get(folder.makeDirectory("directory")), Answer(-EISDIR, "default"));
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(get(folder.path("pipe")), Answer(7, "default"));
}

TEST(PropertyStore, RefusesADefaultThatDoesNotFitOnlyWhenItIsNeeded) {
  const TestFolder folder;
  const std::string tooLong(92, 'x');
  EXPECT_EQ(get(folder.path("missing"), tooLong.c_str()), Answer(-EMSGSIZE, ""));
  EXPECT_EQ(get(folder.write("properties", "key=a"), tooLong.c_str()), Answer(1, "a"));
  std::array<char, SYS_PROP_VALUE_MAX> value{};
  EXPECT_EQ(sys_prop_get("", value.data(), "default"), -EINVAL);
  EXPECT_EQ(sys_prop_get("key", nullptr, "default"), -EINVAL);
}

}  // namespace
