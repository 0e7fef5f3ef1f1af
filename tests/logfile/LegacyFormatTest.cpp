#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "logfile/LegacyFormat.hpp"
#include "support/LegacyLog.hpp"
#include "support/LogProbe.hpp"

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

namespace {

struct HeaderLine {
  const char *label, *line, *key;
  std::vector<std::string> values;
};
void PrintTo(const HeaderLine& row, std::ostream* out) {
  *out << row.label;
}

class LegacyHeaderGrammar : public testing::TestWithParam<HeaderLine> {};

TEST_P(LegacyHeaderGrammar, SplitsIntoKeyAndValues) {
  const LegacyHeaderEntry entry(GetParam().line);
  EXPECT_EQ(entry.name, GetParam().key);
  EXPECT_EQ(entry.values, GetParam().values);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, LegacyHeaderGrammar,
    testing::ValuesIn<HeaderLine>({
        {"SpacesGoInsideValuesToo", "titles : gyro x, gyro y", "titles", {"gyrox", "gyroy"}},
        {"SpacesGoInsideKeysToo", " ro. hardware : quad ", "ro.hardware", {"quad"}},
        {"ValueStopsAtSecondColon", "start : 12:30:00", "start", {"12"}},
        {"NoColonMeansNoValues", "type", "type", {}},
        {"OnlySpacesAreNoValue", "type :  \t ", "type", {}},
        {"EmptyLine", "", "", {}},
        {"EmptyKey", ": 4", "", {"4"}},
        {"EmptyPiecesStay", "argList : a,,b,", "argList", {"a", "", "b", ""}},
        {"CarriageReturnGoes", "type : events\r", "type", {"events"}},
    }),
    [](const auto& row) { return std::string(row.param.label); });

TEST(ContinuousFormat, TitlesWinOverTheirCount) {
  takeLogLines();
  const ContinuousFormat format("nentries : 5\ntitles : a, b\ntitles : x\n");
  EXPECT_THAT(format.getEntries(), ElementsAre("a", "b"));
  EXPECT_THAT(format.getSubEntries(0), IsEmpty());
  EXPECT_THAT(takeLogLines(4), ElementsAre("<4>nentries does not match the size of titles list"));
}

TEST(ContinuousFormat, TakesAnEventLogUnderProtest) {
  takeLogLines();
  const ContinuousFormat format("type : events\ntitles : call\nnentries :  +1x\n");
  EXPECT_THAT(format.getEntries(), ElementsAre("call"));
  EXPECT_THAT(takeLogLines(4), ElementsAre("<3>Expected continuous file but got events"));
}

struct BadHeader {
  const char *label, *header, *message;
};
void PrintTo(const BadHeader& row, std::ostream* out) {
  *out << row.label;
}

class ContinuousFormatDeathTest : public testing::TestWithParam<BadHeader> {};

TEST_P(ContinuousFormatDeathTest, EndsTheProcess) {
  EXPECT_EXIT(ContinuousFormat{GetParam().header}, ExitedWithCode(1), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, ContinuousFormatDeathTest,
    testing::ValuesIn<BadHeader>({
        {"Empty", "", "<3>File doesn't have a 'titles' entry\n$"},
        {"NoTitles", "nentries : 1\n", "<3>File doesn't have a 'titles' entry\n$"},
        {"TitlesWithoutValue", "titles : \nnentries : 0\n", "<3>File doesn't have a 'titles' entry\n$"},
        {"NoCount", "titles : a\n", "<3>File doesn't have a 'nentries' entry\n$"},
        {"CountWithoutValue", "titles : a\nnentries\n",
         "<3>File has a 'nentries' entry .*usable number : \n$"},
        {"CountIsText", "titles : a\nnentries : one\n", "<3>File has a 'nentries' entry .* : one\n$"},
        {"CountTooLarge", "titles : a\nnentries : 99999999999999999999\n",
         "<3>File has a 'nentries' entry"},
    }),
    [](const auto& row) { return std::string(row.param.label); });

class EventFormatDeathTest : public testing::TestWithParam<BadHeader> {};

TEST_P(EventFormatDeathTest, EndsTheProcess) {
  EXPECT_EXIT(EventFormat{GetParam().header}, ExitedWithCode(1), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, EventFormatDeathTest,
    testing::ValuesIn<BadHeader>({
        {"NoType", "titles : a\n", "<3>File doesn't have a 'type' entry\n$"},
        {"TypeWithoutValue", "type\n", "<3>Expected events file\n$"},
        {"TypeInOtherCase", "type : Events\n", "<3>Expected events file\n$"},
        {"NoTitles", "type : events\ntypes : x\n", "<3>File doesn't have a 'titles' entry\n$"},
        {"FirstMissingKeyOnly", "type : events\ntitles : a\nnentries : 1\nargNb : 0\n",
         "<3>File doesn't have a 'types' entry\n$"},
        {"NoArgNb", "type : events\ntitles : a\ntypes : x\nnentries : 1\n",
         "<3>File doesn't have a 'argNb' entry\n$"},
        {"NoArgList", "type : events\ntitles : a\ntypes : x\nnentries\nargNb : 0\n",
         "<3>File doesn't have a 'argList' entry\n$"},
        {"CountIsText", "type : events\ntitles : a\ntypes\nnentries\nargNb : 1,,1\nargList : x\n",
         "<3>File has a 'argNb' entry .* : \n$"},
        {"CountBeyondInt32",
         "type : events\ntitles : a\ntypes\nnentries\nargNb : 2147483648\nargList : x\n",
         "<3>File has a 'argNb' entry .* : 2147483648\n$"},
    }),
    [](const auto& row) { return std::string(row.param.label); });

struct ArgumentSlots {
  const char *label, *argNb, *argList;
  std::vector<std::vector<std::string>> names;
};
void PrintTo(const ArgumentSlots& row, std::ostream* out) {
  *out << row.label;
}

class EventFormatArguments : public testing::TestWithParam<ArgumentSlots> {};

TEST_P(EventFormatArguments, AreCutFromTheirSlots) {
  const EventFormat format("type : events\ntitles : f, g, h\ntypes\nnentries\nargNb : " +
                           std::string(GetParam().argNb) + "\nargList : " + GetParam().argList + "\n");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(format.getSubEntries(i), GetParam().names[static_cast<std::size_t>(i)]) << "API " << i;
  }
  EXPECT_THAT(format.getSubEntries(-1), IsEmpty());
  EXPECT_THAT(format.getSubEntries(9), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Slots, EventFormatArguments,
                         testing::ValuesIn<ArgumentSlots>({
                             {"PlaceholderIsSkipped", "2, 0, 1", "a, b, x, c", {{"a", "b"}, {}, {"c"}}},
                             {"NegativeCountTakesOneSlot", "-3, 1, 1", "x, a, b", {{}, {"a"}, {"b"}}},
                             {"MissingNamesAreNone", "2, 2, 1", "a, b, c", {{"a", "b"}, {}, {}}},
                             {"HugeCounts", "2147483647, 2147483647, 1", "a", {{}, {}, {}}},
                             {"FewerCountsThanApis", "1", "a, b", {{"a"}, {}, {}}},
                             {"NoNames", "1, 1, 1", "", {{}, {}, {}}},
                             {"MoreCountsThanApis", "1, 1, 1, 1", "a, b, c, d", {{"a"}, {"b"}, {"c"}}},
                         }),
                         [](const auto& row) { return std::string(row.param.label); });

TEST(EventFormat, ListsTheArgumentsForDebugging) {
  takeLogLines();
  const EventFormat format("type : events\ntitles : f, g\ntypes\nnentries\nargNb : 1, 0\nargList : a, x\n");
  std::vector<std::string> lines = takeLogLines();
  lines.erase(lines.begin(), lines.begin() + 6);  // one "Found header entry" for each line
  EXPECT_THAT(lines, ElementsAre("<7>Event f has arguments : ", "<7>    a", "<7>Event g has arguments : "));
}

}  // namespace
