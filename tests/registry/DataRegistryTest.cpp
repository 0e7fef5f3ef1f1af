#include <gmock/gmock.h>

#include "registry/DataRegistry.hpp"
#include "support/LogProbe.hpp"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Join, PutsADotOnlyBetweenTwoParts) {
  using Ostrel::Utils::join;
  EXPECT_EQ(join("", ""), "");
  EXPECT_EQ(join("", "suffix"), "suffix");
  EXPECT_EQ(join("prefix", ""), "prefix");
  EXPECT_EQ(join("prefix.", "suffix"), "prefix..suffix");
}

TEST(DataRegistry, KeepsTheFirstRegistrationOfAName) {
  DataRegistry registry;
  int first = 0, second = 0;
  registry.reg("speed", &first);
  registry.reg("speed", &second);
  double value = 4;
  registry.entries.at("speed")->fromRecord(value);
  EXPECT_EQ(first, 4);
  EXPECT_EQ(second, 0);
}

TEST(DataRegistry, LogsEachRegistrationUnderItsFullName) {
  DataRegistry unnamed, outer("outer");
  int field = 0;
  takeLogLines();
  for (int i = 0; i < 2; ++i) unnamed.reg("speed", &field);
  outer.reg("inner", &field);
  EXPECT_THAT(takeLogLines(), ElementsAre("<7>New registry entry in un-named registry: speed",
                                          "<7>New registry entry in un-named registry: speed",
                                          "<7>New registry entry in outer : outer.inner"));
  EXPECT_EQ(outer.entries.count("outer.inner"), 1U);
}

TEST(DataRegistry, ListsItsEntriesInByteOrderOnceFrozen) {
  DataRegistry registry;
  int field = 0;
  for (const char* name : {"b", "a.b", "a", "B"}) registry.reg<int>(name, &field);
  EXPECT_THAT(registry.entryList, IsEmpty());
  for (int i = 0; i < 2; ++i) registry.freeze();
  std::vector<std::string> names;
  for (const DataEntryBase* entry : registry.entryList) names.push_back(entry->name);
  EXPECT_THAT(names, ElementsAre("B", "a", "a.b", "b"));
}

TEST(DataRegistry, TakesNoEntryOnceFrozen) {
  DataRegistry registry;
  registry.freeze();
  takeLogLines();
  int field = 0;
  registry.reg<int>("late", &field);
  EXPECT_THAT(takeLogLines(), IsEmpty());
  EXPECT_THAT(registry.entries, IsEmpty());
}

}  // namespace
