#include <gmock/gmock.h>

#include "logfile/LegacyHeader.hpp"
#include "support/Row.hpp"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Names = std::vector<std::string>;

struct HeaderLine : Row {
  const char* line;
  const char* key;
  Names values;
};
class LegacyHeaderLine : public testing::TestWithParam<HeaderLine> {};

TEST_P(LegacyHeaderLine, SplitsIntoKeyAndValues) {
  const LegacyHeaderEntry entry(GetParam().line);
  EXPECT_EQ(entry.name, GetParam().key);
  EXPECT_EQ(entry.values, GetParam().values);
}

const HeaderLine HEADER_LINES[] = {
    {"SpacesGoInsideNamesToo", "titles : gyro x, gyro y", "titles", {"gyrox", "gyroy"}},
    {"ValueEndsAtSecondColon", "start : 12:30:00", "start", {"12"}},
    {"NoColonMeansNoValues", "type", "type", {}},
    {"BlanksAreNoValue", "type :  \t ", "type", {}},
    {"EmptyLine", "", "", {}},
    {"EmptyValuesCount", "argList : a,,b,", "argList", {"a", "", "b", ""}},
};
INSTANTIATE_ROWS(LegacyHeaderLine, HEADER_LINES);

TEST(LegacyHeader, KeepsTheFirstLineOfAKeyAndItsPlace) {
  const LegacyHeader header("a : 1\nb\na : 2\n", 7);
  EXPECT_EQ(header.firstValue("a"), "1");
  EXPECT_EQ(header.firstValue("b"), "");
  EXPECT_EQ(header.headerEntries.at("a").line, 7U);
  EXPECT_EQ(header.headerEntries.at("b").line, 8U);
}

/// The remarks in order: kind, key, text and line of each.
std::string told(const std::vector<HeaderRemark>& remarks) {
  static constexpr const char* KINDS[] = {"events for continuous", "count differs", "missing", "unusable",
                                          "not of events"};
  std::string text;
  for (const HeaderRemark& remark : remarks) {
    text += (text.empty() ? "" : "; ") + std::string(KINDS[remark.kind]) + " " + remark.key + " '" +
            remark.text + "' " + std::to_string(remark.line);
  }
  return text;
}

struct Header : Row {
  std::string lines;
  const char* remarks;
};
class ContinuousHeader : public testing::TestWithParam<Header> {};
class EventHeader : public testing::TestWithParam<Header> {};

TEST_P(ContinuousHeader, HasTheseRemarks) {
  const auto parsed = ContinuousFormat::parse(LegacyHeader(GetParam().lines));
  EXPECT_EQ(told(parsed.remarks), GetParam().remarks);
  EXPECT_EQ(parsed.format == nullptr, parsed.fault() != nullptr);
}

const Header CONTINUOUS_HEADERS[] = {
    {"Plain", "titles : a, b\nnentries : 2\n", ""},
    {"OfEvents", "type : events\ntitles : a\nnentries : 1\n", "events for continuous type 'events' 1"},
    {"OneColumnTooFew", "titles : a\nnentries : 2\n", "count differs nentries '2' 2"},
    {"OneColumnTooMany", "titles : a, b, c\nnentries : 2\n", "count differs nentries '2' 2"},
    {"Empty", "", "missing titles '' 0"},
    {"NoTitles", "nentries : 1\n", "missing titles '' 0"},
    {"NoCount", "titles : a\n", "missing nentries '' 0"},
    {"TitlesWithoutNames", "titles :\nnentries : 0\n", "missing titles '' 1"},
    {"CountBeforeTitlesWithoutNames", "titles :\nnentries : 1\n",
     "count differs nentries '1' 2; missing titles '' 1"},
    {"UnusableCountBeforeTitlesWithoutNames", "titles :\nnentries : x\n", "unusable nentries 'x' 2"},
    {"CountWithoutValue", "titles : a\nnentries\n", "unusable nentries '' 2"},
    {"CountWithTextBehind", "titles : a\nnentries : 1x\n", ""},
    {"HexadecimalCountIsZero", "titles : a\nnentries : 0x1\n", "count differs nentries '0x1' 2"},
    {"CountWithPlus", "titles : a\nnentries : +1\n", ""},
    {"MinusZero", "titles : a\nnentries : -0\n", "count differs nentries '-0' 2"},
    {"WrapsToTheRightCount", "titles : a, b\nnentries : -18446744073709551614\n",
     "unusable nentries '-18446744073709551614' 2"},
    {"LargestCount", "titles : a\nnentries : 18446744073709551615\n",
     "count differs nentries '18446744073709551615' 2"},
    {"BeyondTheLargestCount", "titles : a\nnentries : 18446744073709551616\n",
     "unusable nentries '18446744073709551616' 2"},
};
INSTANTIATE_ROWS(ContinuousHeader, CONTINUOUS_HEADERS);

TEST(ContinuousFormat, GoesByTheFirstTitles) {
  const auto parsed = ContinuousFormat::parse(LegacyHeader("nentries : 9\ntitles : a, b\ntitles : x\n"));
  ASSERT_NE(parsed.format, nullptr);
  EXPECT_THAT(parsed.format->getEntries(), ElementsAre("a", "b"));
  EXPECT_THAT(parsed.format->getSubEntries(0), IsEmpty());
}

TEST_P(EventHeader, HasTheseRemarks) {
  const auto parsed = EventFormat::parse(LegacyHeader(GetParam().lines));
  EXPECT_EQ(told(parsed.remarks), GetParam().remarks);
  EXPECT_EQ(parsed.format == nullptr, parsed.fault() != nullptr);
}

const std::string EVENTS = "type : events\ntitles : a, b\ntypes\nnentries\nargList : x\nargNb : ";
const Header EVENT_HEADERS[] = {
    {"Plain", EVENTS + "1, 0\n", ""},
    {"NoType", "titles : a\n", "missing type '' 0"},
    {"TypeWithoutValue", "type\n", "not of events type '' 1"},
    {"TypeInAnotherCase", "type : Events\n", "not of events type 'Events' 1"},
    {"NoTitles", "type : events\ntypes\nnentries\nargNb\nargList\n", "missing titles '' 0"},
    {"NoTypes", "type : events\ntitles\nnentries\nargNb\n", "missing types '' 0"},
    {"NoCount", "type : events\ntitles\ntypes\nargList\n", "missing nentries '' 0"},
    {"NoArgumentCounts", "type : events\ntitles\ntypes\nnentries\n", "missing argNb '' 0"},
    {"NoArgumentNames", "type : events\ntitles\ntypes\nnentries\nargNb\n", "missing argList '' 0"},
    {"EmptyArgumentCount", EVENTS + "1,,1\n", "unusable argNb '' 6"},
    {"LargestArgumentCount", EVENTS + "2147483647\n", ""},
    {"BeyondTheLargestArgumentCount", EVENTS + "2147483648\n", "unusable argNb '2147483648' 6"},
    {"LowestArgumentCount", EVENTS + "-2147483648\n", ""},
    {"BelowTheLowestArgumentCount", EVENTS + "-2147483649\n", "unusable argNb '-2147483649' 6"},
};
INSTANTIATE_ROWS(EventHeader, EVENT_HEADERS);

struct Slots : Row {
  std::string counts;
  std::string names;
  std::vector<Names> arguments;  ///< of the three APIs
};
class ArgumentSlots : public testing::TestWithParam<Slots> {};

TEST_P(ArgumentSlots, GiveEachApiItsNames) {
  const auto parsed = EventFormat::parse(
      LegacyHeader("type : events\ntitles : f, g, h\ntypes\nnentries\nargNb : " + GetParam().counts +
                   "\nargList : " + GetParam().names + "\n"));
  ASSERT_NE(parsed.format, nullptr);
  for (const int api : {0, 1, 2}) {
    EXPECT_EQ(parsed.format->getSubEntries(api), GetParam().arguments[static_cast<std::size_t>(api)])
        << api;
  }
  EXPECT_THAT(parsed.format->getSubEntries(-1), IsEmpty());
  EXPECT_THAT(parsed.format->getSubEntries(9), IsEmpty());
}

const Slots SLOTS[] = {
    {"PlaceholderTakesASlot", "2, 0, 1", "a, b, x, c", {{"a", "b"}, {}, {"c"}}},
    {"NegativeCountTakesASlot", "-3, 1, 1", "x, a, b", {{}, {"a"}, {"b"}}},
    {"NamesNotThereInFull", "2, 2, 1", "a, b, c", {{"a", "b"}, {}, {}}},
    {"CountsBeyondAnyList", "2147483647, 2147483647, 1", "a", {{}, {}, {}}},
    {"FewerCountsThanApis", "1", "a, b", {{"a"}, {}, {}}},
    {"MoreCountsThanApis", "1, 1, 1, 1", "a, b, c, d", {{"a"}, {"b"}, {"c"}}},
};
INSTANTIATE_ROWS(ArgumentSlots, SLOTS);

}  // namespace
