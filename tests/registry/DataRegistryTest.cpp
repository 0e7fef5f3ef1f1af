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
  DataRegistry outer("outer");
  int first = 0;
  int second = 0;
  takeLogLines();
  registry.reg("speed", &first);
  registry.reg("speed", &second);
  outer.reg("inner", &first);
  const char* line = "<7>New registry entry in un-named registry: speed";
  EXPECT_THAT(takeLogLines(), ElementsAre(line, line, "<7>New registry entry in outer : outer.inner"));
  double value = 4;
  registry.entries.at("speed")->fromRecord(value);
  EXPECT_EQ(first, 4);
  EXPECT_EQ(second, 0);
  EXPECT_EQ(outer.entries.count("outer.inner"), 1U);
}

TEST(DataRegistry, FreezesItsEntriesOnceInByteOrder) {
  DataRegistry registry;
  int field = 0;
  for (const char* name : {"b", "a.b", "a", "B"}) registry.reg<int>(name, &field);
  registry.freeze();
  takeLogLines();
  registry.reg<int>("late", &field);
  registry.freeze();
  EXPECT_THAT(takeLogLines(), IsEmpty());
  std::vector<std::string> names;
  for (const DataEntryBase* entry : registry.entryList) names.push_back(entry->name);
  EXPECT_THAT(names, ElementsAre("B", "a", "a.b", "b"));
  EXPECT_EQ(registry.entries.size(), 4U);
}

}  // namespace
