#include <gmock/gmock.h>

#include <cerrno>
#include <cmath>

#include "logfile/LegacyReader.hpp"
#include "support/ApiProbe.hpp"
#include "support/LegacyLog.hpp"
#include "support/LogProbe.hpp"
#include "support/Row.hpp"
#include "support/TestFolder.hpp"

using testing::ElementsAre;
using testing::ExitedWithCode;

namespace {

class LegacyReaderTest : public testing::Test {
 protected:
  LegacyReaderTest() {
    registry.reg("index", &index);
    registry.reg("x", &x);
    registry.freeze();
    takeLogLines();
  }

  /// A reader on a log of these bytes, opened.
  auto openContinuous(const std::string& log) { return open(registry, LogFile::CONTENTS_CONTINUOUS, log); }
  auto openEvents(const std::string& log) { return open(api.registry, LogFile::CONTENTS_EVENTS, log); }
  std::unique_ptr<LogFile::IReader> open(DataRegistry& target, LogFile::Contents kind,
                                         const std::string& log) {
    std::unique_ptr<LogFile::IReader> reader(LegacyReader::create(target, kind));
    EXPECT_EQ(reader->open(folder.write("log", log).c_str()), 0);
    return reader;
  }

  int index = 0;
  float x = 0;
  DataRegistry registry;
  ApiProbe api{ApiProbe::Apis{{"land", {}}, {"move", {"a", "b"}}}};
  std::vector<int> events = {99};
  TestFolder folder;
  const std::string path = folder.path("log");
};

const std::string COLUMNS = continuousHeader({"index", "x"});
const std::string RECORD = values({4, 0.5});
/// Event ids: 0 is bound to `move` (registry position 1), 1 to `land` (0), 2 to nothing.
const std::string APIS = eventHeader("move, land, gone", "2, 0, 1", "a, b, none, q");
constexpr int LAND = 0, MOVE = 1;

TEST_F(LegacyReaderTest, AsksEntriesOfOtherClassesThemselves) {
  struct Doubling : DataEntry<float> {
    using DataEntry::DataEntry;
    void fromRecord(double& value) const override { *ptr = static_cast<float>(2 * value); }
  };
  DataRegistry special;
  special.entries["x"] = new Doubling("x", &x);
  EXPECT_EQ(open(special, LogFile::CONTENTS_CONTINUOUS, COLUMNS + RECORD)->popSample(), 0);
  EXPECT_EQ(x, 1.0F);
}

TEST_F(LegacyReaderTest, OneKindOfLogDoesNotServeTheOther) {
  EXPECT_EQ(openContinuous(COLUMNS)->popSample(0, events), -EINVAL);
  EXPECT_EQ(openEvents(APIS)->popSample(), -EINVAL);
  EXPECT_THAT(takeLogLines(3), ElementsAre("<3>Can not pop sample from non event file",
                                           "<3>Can not pop sample from non-continuous file"));
}

TEST_F(LegacyReaderTest, FindsTheHeaderBehindItsPreamble) {
  const std::string lines = "nentries : 2\ntitles : index, x\n";
  // The warning stands behind the file's name; the result is that of the first sample.
  const std::tuple<const char*, std::string, const char*, int> preambles[] = {
      {"six lines", "1\n2\n3\n4\n5\n\n" + COLUMNS + RECORD, "", 0},
      {"seven lines", "1\n2\n3\n4\n5\n6\n\n" + COLUMNS + RECORD,
       " has 7 lines before its header, is it normal?", 0},
      {"markers inside lines", "xx -- Build infos yy\n" + lines + "xx -- Data yy\n" + RECORD, "", 0},
      {"carriage returns", "-- Build infos\r\nnentries : 2\r\ntitles : index, x\r\n-- Data\r\n" + RECORD,
       "", 0},
      {"data marker before the header", "-- Data\n" + COLUMNS + RECORD, "", 0},
      {"no data marker", "-- Build infos\n" + lines + RECORD, "", -ENODATA},
  };
  for (const auto& [label, bytes, warning, result] : preambles) {
    SCOPED_TRACE(label);
    x = 0;
    const auto reader = openContinuous(bytes);
    const std::vector<std::string> expected(*warning != 0 ? 1 : 0, "<4>Input file " + path + warning);
    EXPECT_EQ(takeLogLines(6), expected);
    EXPECT_EQ(reader->popSample(), result);
    EXPECT_EQ(x, result == 0 ? 0.5F : 0);
    EXPECT_EQ(reader->popSample(), -ENODATA);
  }
}

using LegacyReaderDeathTest = LegacyReaderTest;

TEST_F(LegacyReaderDeathTest, FilesWithoutHeaderEndTheProcess) {
  EXPECT_EXIT(openContinuous("1\n2\n3\n4\n5\n6\n7\nlast"), ExitedWithCode(1),
              "<3>Input file .*/log badly formatted, missing header section \"-- Navdata infos\"\n"
              "<4>Input file .*/log has 8 lines before its header, is it normal\\?\n"
              "<3>File doesn't have a 'titles' entry\n$");
  EXPECT_EXIT(openContinuous("-- Build infos -- Data\n"), ExitedWithCode(1),
              "Found header entry --Buildinfos--Data\n<3>File doesn't have a 'titles' entry\n$");
}

TEST_F(LegacyReaderTest, ReadsTheColumnsThatAreRegisteredUntilTheLastWholeRecord) {
  const auto reader =
      openContinuous(continuousHeader({"z", "index", "w", "index"}) + values({1, 2, 3, 4, 5, 6, 7, 8}) +
                     values({9, 10, 11, 12}).substr(0, 31));
  std::vector<std::string> lines = takeLogLines();
  lines.erase(lines.begin(), lines.begin() + 4);  // those about the header
  EXPECT_THAT(lines,
              ElementsAre("<4>1 registered entries not found in file :", "<4>    x",
                          "<6>2 entries found in file but not registered to", "<7>    z", "<7>    w"));
  for (const int later : {4, 8}) {
    EXPECT_EQ(reader->popSample(), 0);
    EXPECT_EQ(index, later);  // of the two columns of that name
  }
  for (int i = 0; i < 3; ++i) EXPECT_EQ(reader->popSample(), -ENODATA);
  EXPECT_EQ(index, 8);
  EXPECT_EQ(reader->close(), 0);
}

TEST_F(LegacyReaderTest, ReportsApisThatDifferAndBindsByPosition) {
  const auto reader =
      openEvents(eventHeader("gone, move, land, move", "1, 2, 1, 1", "q, a, other, extra, a") +
                 event(7, 1, {1.5, 2.5}) + event(8, 1));
  const auto differs = [](const std::string& sides) {
    return "<3>API " + sides + ", args in excess will be ignored.";
  };
  EXPECT_THAT(
      takeLogLines(6),
      ElementsAre(
          "<6>API named gone in log file wasn't found in libOstrel.so, if any, calls will be ignored",
          "<3>API move arg number 1 name differs between log file (other) and libostrel.so (b)",
          differs("land in log file has a different number (1) of argsthan was found in libOstrel (0)"),
          differs("move in log file has a different number (1) of argsthan was found in libOstrel (2)")));
  EXPECT_EQ(reader->popSample(7, events), 1);
  EXPECT_THAT(api.arguments("move"), ElementsAre(1.5, 2.5));
}

const std::string FIRST = event(1, 0, {1, 2}), LATER = event(9, 1);
constexpr int MOST = 2147483647;
struct Calls : Row {
  std::string records;
  int step, result;
  std::vector<int> events;
  std::vector<double> moved;  // the arguments of `move` afterwards
  bool isDamaged = false;     // behind the record FIRST
};
class RecordedCalls : public LegacyReaderTest, public testing::WithParamInterface<Calls> {};

TEST_P(RecordedCalls, AreAppliedOnceDue) {
  const auto reader = openEvents(APIS + GetParam().records);
  EXPECT_EQ(reader->popSample(GetParam().step, events), GetParam().result);
  EXPECT_EQ(events, GetParam().events);
  EXPECT_EQ(api.arguments("move"), GetParam().moved);
  EXPECT_EQ(reader->popSample(MOST, events), -ENODATA);
  const bool nothingIsLeft = GetParam().isDamaged || GetParam().result == -ENODATA;
  EXPECT_EQ(events.size(), nothingIsLeft ? 0U : 1U);  // the call of LATER
  const std::string damage = "<4>Event file " + path + " ends at byte " +
                             std::to_string(APIS.size() + FIRST.size()) +
                             " : the record there is damaged or cut short";
  EXPECT_EQ(takeLogLines(4), std::vector<std::string>(GetParam().isDamaged ? 1 : 0, damage));
}

Calls damaged(const char* label, const std::string& record) {
  return {label, FIRST + record, 5, -ENODATA, {MOVE}, {1, 2}, true};
}

const Calls CALLS[] = {
    {"NothingDue", LATER, 8, -EAGAIN, {}, {0, 0}},
    {"TwoOfOneStep", FIRST + event(1, 1) + LATER, 1, 2, {MOVE, LAND}, {1, 2}},
    {"SecondOverwritesFirst", FIRST + event(3, 0, {3, 4}) + LATER, 4, 2, {MOVE, MOVE}, {3, 4}},
    {"FirstApiByNameAlone", event(1, 1) + LATER, 1, 1, {LAND}, {0, 0}},
    {"UnboundIds", event(1, 2, {7}) + event(1, 3) + event(1, -1) + FIRST + LATER, 1, 1, {MOVE}, {1, 2}},
    {"IdNan", event(1, NAN, {7}) + FIRST + LATER, 1, 1, {MOVE}, {1, 2}},
    {"ExcessArguments", event(2, 0, {5, 6, 7, 8}) + event(2, 1) + LATER, 2, 2, {MOVE, LAND}, {5, 6}},
    {"FewArguments", FIRST + event(3, 0, {9}) + event(4, 0) + LATER, 4, 3, {MOVE, MOVE, MOVE}, {9, 2}},
    {"Fractions", event(5.9, 0.5, {1, 2}) + LATER, 5, 1, {MOVE}, {1, 2}},
    {"SizeNotWhole", values({39.9, 1, 0, 1}) + LATER, 1, 1, {MOVE}, {1, 0}},
    {"StepBeyondInt32", event(1e10, 1) + LATER, -5, 1, {LAND}, {0, 0}},
    {"EndInsideACall", FIRST, 1, -ENODATA, {MOVE}, {1, 2}},
    {"DamageToCome", FIRST + values({NAN, 5, 0}), 4, 1, {MOVE}, {1, 2}, true},
    damaged("CutInItsFirstValue", event(5, 0).substr(0, 1)),
    damaged("CutInItsHeader", event(5, 0).substr(0, 23)),
    damaged("CutInItsArguments", event(5, 0, {3, 4}).substr(0, 39)),
    damaged("CutWhereItWouldBeSkipped", event(5, 2, {3, 4}).substr(0, 39)),
    damaged("SizeBelowItsHeader", values({23.9, 5, 0, 3, 4})),
    damaged("SizeNan", values({NAN, 5, 0, 3, 4})),
    damaged("SizeInfinite", values({HUGE_VAL, 5, 0, 3, 4})),
    damaged("SizeBehindTheFile", values({1e9, 5, 0, 3, 4})),
    damaged("SizeBehindAnyFile", values({1e300, 5, 2, 3, 4})),
};
INSTANTIATE_ROWS(RecordedCalls, CALLS);

}  // namespace
