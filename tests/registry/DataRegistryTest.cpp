#include <gtest/gtest.h>

#include "registry/DataRegistry.hpp"
#include "support/LogProbe.hpp"

namespace {

TEST(DataRegistry, KeepsTheFirstRegistrationOfANameButLogsEach) {
  DataRegistry registry("outer");
  int first = 0, second = 0;
  takeLogLines();
  for (int* field : {&first, &second}) registry.reg("speed", field);
  const std::string line = "<7>New registry entry in outer : outer.speed";
  EXPECT_EQ(takeLogLines(), (std::vector<std::string>{line, line}));
  double value = 4;
  registry.entries.at("outer.speed")->fromRecord(value);
  EXPECT_EQ(first, 4);
}

TEST(DataRegistry, ListsItsEntriesInByteOrderOnceFrozen) {
  DataRegistry registry;
  int field = 0;
  for (const char* name : {"b", "a.b", "a", "B"}) registry.reg<int>(name, &field);
  EXPECT_TRUE(registry.entryList.empty());
  for (int i = 0; i < 2; ++i) registry.freeze();
  std::vector<std::string> names;
  for (const DataEntryBase* entry : registry.entryList) names.push_back(entry->name);
  EXPECT_EQ(names, (std::vector<std::string>{"B", "a", "a.b", "b"}));
}

TEST(DataRegistry, TakesNoEntryOnceFrozen) {
  DataRegistry registry;
  registry.freeze();
  int field = 0;
  registry.reg<int>("late", &field);
  EXPECT_TRUE(registry.entries.empty());
}

}  // namespace
