#include <gmock/gmock.h>

#include <tuple>

#include "logfile/LegacyFormat.hpp"
#include "support/LogProbe.hpp"

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

namespace {

using Names = std::vector<std::string>;

TEST(LegacyHeaderEntry, SplitsALineIntoKeyAndValues) {
  const std::tuple<const char*, const char*, Names> lines[] = {
      {"titles : gyro x, gyro y", "titles", {"gyrox", "gyroy"}},
      {" ro. hardware : quad ", "ro.hardware", {"quad"}},
      {"start : 12:30:00", "start", {"12"}},
      {"type", "type", {}},
      {"type :  \t ", "type", {}},
      {"", "", {}},
      {": 4", "", {"4"}},
      {"argList : a,,b,", "argList", {"a", "", "b", ""}},
      {"type : events\r", "type", {"events"}},
  };
  for (const auto& [line, key, pieces] : lines) {
    const LegacyHeaderEntry entry(line);
    EXPECT_EQ(entry.name, key) << line;
    EXPECT_EQ(entry.values, pieces) << line;
  }
}

TEST(ContinuousFormat, ProtestsAndTakesTheFirstTitles) {
  takeLogLines();
  const ContinuousFormat format("type : events\nnentries :  +1x\ntitles : a, b\ntitles : x\n");
  EXPECT_THAT(format.getEntries(), ElementsAre("a", "b"));
  EXPECT_THAT(format.getSubEntries(0), IsEmpty());
  EXPECT_THAT(takeLogLines(4), ElementsAre("<3>Expected continuous file but got events",
                                           "<4>nentries does not match the size of titles list"));
}

std::string missing(const std::string& key) {
  return "<3>File doesn't have a '" + key + "' entry\n$";
}

std::string unusable(const std::string& key, const std::string& number) {
  return "<3>File has a '" + key + "' entry that is not a usable number : " + number + "\n$";
}

TEST(ContinuousFormatDeathTest, HeadersWithoutWhatItNeedsEndTheProcess) {
  const std::pair<const char*, std::string> headers[] = {
      {"", missing("titles")},
      {"titles : \nnentries : 0\n", missing("titles")},
      {"titles : a\n", missing("nentries")},
      {"titles : a\nnentries\n", unusable("nentries", "")},
      {"titles : a\nnentries : one\n", unusable("nentries", "one")},
      {"titles : a\nnentries : 99999999999999999999\n", unusable("nentries", "9*")},
  };
  for (const auto& [text, message] : headers) {
    EXPECT_EXIT(ContinuousFormat{text}, ExitedWithCode(1), message) << text;
  }
}

TEST(EventFormatDeathTest, HeadersWithoutWhatItNeedsEndTheProcess) {
  const std::string start = "type : events\ntitles : a\n";
  const std::string counts = start + "types\nnentries\nargList : x\nargNb : ";
  const std::pair<std::string, std::string> headers[] = {
      {"titles : a\n", missing("type")},
      {"type\n", "<3>Expected events file\n$"},
      {"type : Events\n", "<3>Expected events file\n$"},
      {"type : events\ntypes : x\n", missing("titles")},
      {start + "nentries : 1\nargNb : 0\n", missing("types")},
      {start + "types : x\n", missing("nentries")},
      {start + "types : x\nnentries : 1\n", missing("argNb")},
      {start + "types : x\nnentries\nargNb : 0\n", missing("argList")},
      {counts + "1,,1\n", unusable("argNb", "")},
      {counts + "2147483648\n", unusable("argNb", "2147483648")},
  };
  for (const auto& [text, message] : headers) {
    EXPECT_EXIT(EventFormat{text}, ExitedWithCode(1), message) << text;
  }
}

TEST(EventFormat, CutsArgumentsFromTheirSlots) {
  const std::tuple<std::string, std::string, std::vector<Names>> slots[] = {
      {"2, 0, 1", "a, b, x, c", {{"a", "b"}, {}, {"c"}}},
      {"-3, 1, 1", "x, a, b", {{}, {"a"}, {"b"}}},
      {"2, 2, 1", "a, b, c", {{"a", "b"}, {}, {}}},
      {"2147483647, 2147483647, 1", "a", {{}, {}, {}}},
      {"1", "a, b", {{"a"}, {}, {}}},
      {"1, 1, 1", "", {{}, {}, {}}},
      {"1, 1, 1, 1", "a, b, c, d", {{"a"}, {"b"}, {"c"}}},
  };
  const std::string start = "type : events\ntitles : f, g, h\ntypes\nnentries\nargNb : ";
  for (const auto& [argNb, argList, names] : slots) {
    const EventFormat format(start + argNb + "\nargList : " + argList + "\n");
    for (int i : {0, 1, 2}) EXPECT_EQ(format.getSubEntries(i), names[std::size_t(i)]) << argNb << " " << i;
    EXPECT_THAT(format.getSubEntries(-1), IsEmpty());
    EXPECT_THAT(format.getSubEntries(9), IsEmpty());
  }
}

TEST(EventFormat, ListsTheArgumentsForDebugging) {
  takeLogLines();
  const EventFormat format("type : events\ntitles : f, g\ntypes\nnentries\nargNb : 1, 0\nargList : a, x\n");
  std::vector<std::string> lines = takeLogLines();
  lines.erase(lines.begin(), lines.begin() + 6);  // one "Found header entry" for each line
  EXPECT_THAT(lines, ElementsAre("<7>Event f has arguments : ", "<7>    a", "<7>Event g has arguments : "));
}

}  // namespace
