#include <gtest/gtest.h>

#include "logfile/Binding.hpp"
#include "support/ApiProbe.hpp"
#include "support/LegacyLog.hpp"
#include "support/Row.hpp"

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
    {"All", {"b", "c", "a"}, {"b", "c", "a"}, {}, {}},
    {"None", {}, {}, {"a", "b", "c"}, {}},
    {"Others", {"z", "b", "y", "z"}, {"nothing", "b", "nothing", "nothing"}, {"a", "c"}, {"z", "y", "z"}},
    {"TwoOfOneName", {"b", "b"}, {"b", "b"}, {"a", "c"}, {}},
};
INSTANTIATE_ROWS(BoundColumns, COLUMNS);

struct Api : Row {
  const char *name, *argumentCount, *argumentNames;  ///< as the header has them
  int position;
  std::size_t inFile, inLibrary;
  Names differences = {};  ///< position, name in the file and name in the library
};
class BoundApi : public testing::TestWithParam<Api> {};

TEST_P(BoundApi, IsThatOfItsNameAndTellsWhatDiffers) {
  ApiProbe library({{"land", {}}, {"move", {"a", "b"}}});
  const auto parsed = EventFormat::parse(LegacyHeader(
      eventHeader(std::string("x, ") + GetParam().name, std::string("0, ") + GetParam().argumentCount,
                  std::string("none, ") + GetParam().argumentNames)));
  const EventBinding binding = bindEvents(*parsed.format, library.registry);
  const ApiBinding& api = binding.apis.at(1);
  EXPECT_EQ(api.name, GetParam().name);
  EXPECT_EQ(api.position, GetParam().position);
  EXPECT_EQ(api.argumentsInFile, GetParam().inFile);
  EXPECT_EQ(api.argumentsInLibrary, GetParam().inLibrary);
  Names differences;
  for (const ArgumentDifference& each : api.differences) {
    differences.push_back(std::to_string(each.position) + " " + each.inFile + " " + each.inLibrary);
  }
  EXPECT_EQ(differences, GetParam().differences);
  EXPECT_EQ(namesOf(binding.arguments.at(1)), Names({"a", "b"}));
}

const Api APIS[] = {
    {"WithoutArguments", "land", "0", "none", 0, 0, 0},
    {"WithTheSameArguments", "move", "2", "a, b", 1, 2, 2},
    {"NotInTheLibrary", "gone", "1", "a", -1, 0, 0},
    {"WithFewerArguments", "move", "1", "a", 1, 1, 2},
    {"WithMoreArguments", "move", "3", "a, b, c", 1, 3, 2},
    {"WithAnotherName", "move", "2", "a, x", 1, 2, 2, {"1 x b"}},
    {"WithSwappedNames", "move", "2", "b, a", 1, 2, 2, {"0 b a", "1 a b"}},
};
INSTANTIATE_ROWS(BoundApi, APIS);

}  // namespace
