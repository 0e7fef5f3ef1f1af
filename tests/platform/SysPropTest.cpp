#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "support/TestFolder.hpp"
#include "sysprop/sys_prop.h"

namespace {

using namespace std::string_literals;

TEST(PropertyStore, GivesTheValueOfTheKeysLastLineOrTheDefault) {
  const TestFolder folder;
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  int made = 0;
  const auto file = [&](const std::string& bytes) { return folder.write(std::to_string(++made), bytes); };
  const std::string x91(91, 'x'), x92(92, 'x');
  const std::tuple<std::string, const char*, int, std::string> rows[] = {
      {file("other=1\nkey=value\n"), "default", 5, "value"},
      {file("key=a\nkey=b"), x92.c_str(), 1, "b"},
      {file(" \tkey = a b \r\n"), "default", 3, "a b"},
      {file("key=a=b#c\n"), "default", 5, "a=b#c"},
      {file("key=\n"), "default", 0, ""},
      {file("#key=a\n # key=b\nkey\n=c\nkeys=d\n"), "default", 7, "default"},
      {file("key=" + x91), "default", 91, x91},
      {file("key=" + x92), "default", -EMSGSIZE, "default"},
      {file("key=a\0b"s), "default", -EILSEQ, "default"},
      {file("key=value" + std::string((1 << 20) - 9, '\n')), "default", 5, "value"},
      {file("key=value" + std::string((1 << 20) - 8, '\n')), "default", -EFBIG, "default"},
      {folder.path("missing"), "default", 7, "default"},
      {folder.path("missing"), nullptr, 0, ""},
      {folder.path("missing"), x92.c_str(), -EMSGSIZE, ""},
      {folder.path("pipe"), "default", 7, "default"},
      {folder.makeDirectory("directory"), "default", -EISDIR, "default"},
  };
  for (const auto& [path, fallback, result, text] : rows) {
    setenv("SYS_PROP_FILE", path.c_str(), 1);
    std::array<char, SYS_PROP_VALUE_MAX> value;
    value.fill('?');
    EXPECT_EQ(sys_prop_get("key", value.data(), fallback), result) << path;
    EXPECT_EQ(value.data(), text) << path;
  }
}

}  // namespace
