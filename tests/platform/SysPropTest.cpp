#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

#include "support/Row.hpp"
#include "support/TestFolder.hpp"
#include "sysprop/sys_prop.h"

namespace {

struct Store : Row {
  const char* file;
  std::string bytes;
  int result;
  std::string value;
};
struct PropertyStore : testing::TestWithParam<Store> {};

TEST_P(PropertyStore, GivesTheValueOfTheKeyOrTheDefault) {
  const TestFolder folder;
  folder.write("properties", GetParam().bytes);
  setenv("SYS_PROP_FILE", folder.path(GetParam().file).c_str(), 1);
  std::string value(SYS_PROP_VALUE_MAX, '?');
  EXPECT_EQ(sys_prop_get("key", value.data(), "default"), GetParam().result);
  EXPECT_EQ(value.c_str(), GetParam().value);
}

const std::string LONGEST(91, 'x');
const Store STORES[] = {
    {"LastLineWins", "properties", "key=a\nother=c\n \tkey = b=c #d \r\nkeys=2\n", 6, "b=c #d"},
    {"NoSetting", "properties", "#key=a\n #key=b\n# key=c\nkey\n=d\n", 7, "default"},
    {"LongestValue", "properties", "key=" + LONGEST, 91, LONGEST},
    {"ValueTooLong", "properties", "key=x" + LONGEST, -EMSGSIZE, "default"},
    {"NulInValue", "properties", std::string("key=a\0b", 7), -EILSEQ, "default"},
    {"LargestFile", "properties", "key=value" + std::string((1 << 20) - 9, '\n'), 5, "value"},
    {"FileTooLarge", "properties", "key=value" + std::string((1 << 20) - 8, '\n'), -EFBIG, "default"},
    {"FolderMissing", "properties/missing", "", 7, "default"},
};
INSTANTIATE_ROWS(PropertyStore, STORES);

}  // namespace
