#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "support/Row.hpp"
#include "support/TestFolder.hpp"
#include "sysprop/sys_prop.h"

namespace {

using namespace std::string_literals;

struct Look {
  int result;
  std::string value;
};

/// The property "key" of the store at `path`.
Look lookUp(const std::string& path, const char* fallback) {
  setenv("SYS_PROP_FILE", path.c_str(), 1);
  std::array<char, SYS_PROP_VALUE_MAX> value;
  value.fill('?');
  const int result = sys_prop_get("key", value.data(), fallback);
  return {result, value.data()};
}

struct Store : Row {
  std::string bytes;
  int result;
  std::string value;
};
class PropertyStore : public testing::TestWithParam<Store> {};

TEST_P(PropertyStore, GivesTheValueOfTheKeyOrTheDefault) {
  const TestFolder folder;
  const Look found = lookUp(folder.write("properties", GetParam().bytes), "default");
  EXPECT_EQ(found.result, GetParam().result);
  EXPECT_EQ(found.value, GetParam().value);
}

const std::string LONGEST(91, 'x');
const Store STORES[] = {
    {"OtherKeys", "other=1\nkey=value\nkeys=2\n", 5, "value"},
    {"LastLineWins", "key=a\nkey=b", 1, "b"},
    {"WhiteSpaceAroundIsDropped", " \tkey = a b \r\n", 3, "a b"},
    {"FirstEqualsSignSeparates", "key=a=b#c\n", 5, "a=b#c"},
    {"EmptyValueIsSet", "key=\n", 0, ""},
    {"NoSetting", "#key=a\n #key=b\n# key=c\nkey\n=d\n", 7, "default"},
    {"LongestValue", "key=" + LONGEST, 91, LONGEST},
    {"ValueTooLong", "key=x" + LONGEST, -EMSGSIZE, "default"},
    {"NulInValue", "key=a\0b"s, -EILSEQ, "default"},
    {"LargestFile", "key=value" + std::string((1 << 20) - 9, '\n'), 5, "value"},
    {"FileTooLarge", "key=value" + std::string((1 << 20) - 8, '\n'), -EFBIG, "default"},
};
INSTANTIATE_ROWS(PropertyStore, STORES);

TEST(PropertyFile, ThatIsNoFileMeansTheDefault) {
  const TestFolder folder;
  folder.write("file", "");
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  for (const char* name : {"missing", "file/missing", "pipe"})
    EXPECT_EQ(lookUp(folder.path(name), "default").result, 7) << name;
  EXPECT_EQ(lookUp(folder.path("missing"), nullptr).value, "");
  EXPECT_EQ(lookUp(folder.path("missing"), ("x" + LONGEST).c_str()).result, -EMSGSIZE);
  EXPECT_EQ(lookUp(folder.makeDirectory("directory"), "default").result, -EISDIR);
}

TEST(PropertyFile, ThatIsNotNamedMeansTheDefault) {
  unsetenv("SYS_PROP_FILE");
  char value[SYS_PROP_VALUE_MAX];
  EXPECT_EQ(sys_prop_get("key", value, "default"), 7);
}

}  // namespace
