#include <gmock/gmock.h>

#include "logfile/Binding.hpp"
#include "support/ApiProbe.hpp"
#include "support/LegacyLog.hpp"
#include "support/Row.hpp"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Names = std::vector<std::string>;

Names namesOf(const std::vector<DataEntryBase*>& entries) {
  Names names;
  for (const DataEntryBase* entry : entries) names.push_back(entry != nullptr ? entry->name : "nothing");
  return names;
}

struct Columns : Row {
  Names columns, entries, notInFile, notRegistered;
};
class BoundColumns : public testing::TestWithParam<Columns> {};

TEST_P(BoundColumns, AreThoseThatARegistryOfABCHas) {
  DataRegistry registry;
  int field = 0;
  for (const char* name : {"c", "b", "a"}) registry.reg(name, &field);
  const ColumnBinding binding = bindColumns(GetParam().columns, registry);
  EXPECT_EQ(namesOf(binding.entries), GetParam().entries);
  EXPECT_EQ(binding.notInFile, GetParam().notInFile);
  EXPECT_EQ(binding.notRegistered, GetParam().notRegistered);
}

const Columns COLUMNS[] = {
    {"AllOfThem", {"b", "c", "a"}, {"b", "c", "a"}, {}, {}},
    {"None", {}, {}, {"a", "b", "c"}, {}},
    {"NotRegisteredInColumnOrder",
     {"z", "b", "y", "z"},
     {"nothing", "b", "nothing", "nothing"},
     {"a", "c"},
     {"z", "y", "z"}},
    {"TwoOfOneName", {"b", "b"}, {"b", "b"}, {"a", "c"}, {}},
    {"CaseMatters", {"A", "b", "c"}, {"nothing", "b", "c"}, {"a"}, {"A"}},
};
INSTANTIATE_ROWS(BoundColumns, COLUMNS);

struct Api : Row {
  const char *name, *argumentCount, *argumentNames;  ///< as the header has them
  int position;
  std::size_t inFile, inLibrary;
  Names differences;  ///< position, name in the file and name in the library
};
class BoundApi : public testing::TestWithParam<Api> {};

/// The library's APIs; in name order `land` has position 0 and `move` position 1.
const ApiProbe::Apis LIBRARY = {{"land", {}}, {"move", {"a", "b"}}};

TEST_P(BoundApi, IsThatOfItsNameAndTellsWhatDiffers) {
  ApiProbe library(LIBRARY);
  const Api& api = GetParam();
  const auto parsed =
      EventFormat::parse(LegacyHeader(eventHeader(api.name, api.argumentCount, api.argumentNames)));
  const EventBinding binding = bindEvents(*parsed.format, library.registry);
  ASSERT_EQ(binding.apis.size(), 1U);
  EXPECT_EQ(binding.apis[0].name, api.name);
  EXPECT_EQ(binding.apis[0].position, api.position);
  EXPECT_EQ(binding.apis[0].argumentsInFile, api.inFile);
  EXPECT_EQ(binding.apis[0].argumentsInLibrary, api.inLibrary);
  Names differences;
  for (const ArgumentDifference& each : binding.apis[0].differences) {
    differences.push_back(std::to_string(each.position) + " " + each.inFile + " " + each.inLibrary);
  }
  EXPECT_EQ(differences, api.differences);
}

const Api APIS[] = {
    {"WithoutArguments", "land", "0", "none", 0, 0, 0, {}},
    {"WithTheSameArguments", "move", "2", "a, b", 1, 2, 2, {}},
    {"NotInTheLibrary", "gone", "1", "a", -1, 0, 0, {}},
    {"WithFewerArguments", "move", "1", "a", 1, 1, 2, {}},
    {"WithMoreArguments", "move", "3", "a, b, c", 1, 3, 2, {}},
    {"WithAnotherName", "move", "2", "a, x", 1, 2, 2, {"1 x b"}},
    {"WithSwappedNames", "move", "2", "b, a", 1, 2, 2, {"0 b a", "1 a b"}},
};
INSTANTIATE_ROWS(BoundApi, APIS);

TEST(EventBinding, HasTheLibrarysArgumentsByPosition) {
  ApiProbe library(LIBRARY);
  const auto parsed = EventFormat::parse(LegacyHeader(eventHeader("move", "0", "none")));
  const EventBinding binding = bindEvents(*parsed.format, library.registry);
  ASSERT_EQ(binding.arguments.size(), 2U);
  EXPECT_THAT(binding.arguments[0], IsEmpty());
  EXPECT_THAT(namesOf(binding.arguments[1]), ElementsAre("a", "b"));
}

}  // namespace
