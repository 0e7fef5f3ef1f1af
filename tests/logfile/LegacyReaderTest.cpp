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

struct Preamble : Row {
  std::string start;    ///< of the log, up to its one record
  std::string warning;  ///< what stands behind the file's name
};
class HeaderBehind : public LegacyReaderTest, public testing::WithParamInterface<Preamble> {};

TEST_P(HeaderBehind, IsFound) {
  const auto reader = openContinuous(GetParam().start + RECORD);
  const std::string& warning = GetParam().warning;
  EXPECT_EQ(takeLogLines(6),
            std::vector<std::string>(warning.empty() ? 0 : 1, "<4>Input file " + path + warning));
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(x, 0.5F);
}

const std::string NAMES = "nentries : 2\ntitles : index, x\n";
const Preamble PREAMBLES[] = {
    {"Nothing", COLUMNS, ""},
    {"SixLines", "1\n2\n3\n4\n5\n\n" + COLUMNS, ""},
    {"SevenLines", "1\n2\n3\n4\n5\n6\n\n" + COLUMNS, " has 7 lines before its header, is it normal?"},
    {"TextInTheMarkersLines", "xx -- Build infos yy\n" + NAMES + "xx -- Data yy\n", ""},
    {"CarriageReturns", "-- Build infos\r\nnentries : 2\r\ntitles : index, x\r\n-- Data\r\n", ""},
};
INSTANTIATE_ROWS(HeaderBehind, PREAMBLES);

/// A header of so many bytes.
std::string headerOf(std::size_t bytes) {
  const std::size_t least = continuousHeader({"index", "x"}, "\n").size();
  return continuousHeader({"index", "x"}, std::string(bytes - least, 'a') + "\n");
}

TEST_F(LegacyReaderTest, HeaderMayTakeItsWholeLimit) {
  EXPECT_EQ(openContinuous(headerOf(HeaderText::MAX_BYTES) + RECORD)->popSample(), 0);
}

struct Fault : Row {
  LogFile::Contents contents;
  std::string log;
  const char* lines;  ///< those behind the lines at debug priority
};
class HeaderFaultDeathTest : public LegacyReaderTest, public testing::WithParamInterface<Fault> {};

TEST_P(HeaderFaultDeathTest, EndsTheProcessAfterItsLines) {
  const LogFile::Contents contents = GetParam().contents;
  DataRegistry& target = contents == LogFile::CONTENTS_EVENTS ? api.registry : registry;
  EXPECT_EXIT(open(target, contents, GetParam().log), ExitedWithCode(1),
              "^(<7>[^\n]*\n)*" + std::string(GetParam().lines) + "\n$");
}

constexpr auto CONTINUOUS = LogFile::CONTENTS_CONTINUOUS, OF_EVENTS = LogFile::CONTENTS_EVENTS;
const Fault FAULTS[] = {
    {"NoHeader", CONTINUOUS, "1\n2\n3\n4\n5\n6\n7\nlast",
     "<3>Input file .*/log badly formatted, missing header section \"-- Navdata infos\"\n"
     "<4>Input file .*/log has 8 lines before its header, is it normal\\?\n"
     "<3>File doesn't have a 'titles' entry"},
    {"BeyondTheLimit", CONTINUOUS, headerOf(HeaderText::MAX_BYTES + 1) + RECORD,
     "<3>Input file .*/log has no \"-- Data\" line within its header's limit of 4194304 bytes"},
    {"NumberUnusable", CONTINUOUS, header("titles : x\nnentries : no\n"),
     "<3>File has a 'nentries' entry that is not a usable number : no"},
    {"NotOfEvents", OF_EVENTS, header("type : continuous\n"), "<3>Expected events file"},
    {"AfterItsWarnings", CONTINUOUS, header("type : events\nnentries : 1\ntitles :\n"),
     "<3>Expected continuous file but got events\n"
     "<4>nentries does not match the size of titles list\n<3>File doesn't have a 'titles' entry"},
};
INSTANTIATE_ROWS(HeaderFaultDeathTest, FAULTS);

TEST_F(LegacyReaderTest, TellsTheKeysAndTheColumnsThatOnlyOneSideHas) {
  openContinuous(continuousHeader({"z", "index", "w"}, "ro.hardware : quad\n"));
  EXPECT_THAT(
      takeLogLines(),
      ElementsAre("<7>Found header entry --Buildinfos", "<7>Found header entry nentries",
                  "<7>Found header entry titles", "<7>Found header entry ro.hardware",
                  "<7>Found header entry --Data", "<4>1 registered entries not found in file :", "<4>    x",
                  "<6>2 entries found in file but not registered to", "<7>    z", "<7>    w"));
}

TEST_F(LegacyReaderTest, TellsTheArgumentsAndTheApisThatDiffer) {
  openEvents(eventHeader("gone, move, land, move", "1, 2, 1, 1", "q, a, other, extra, a"));
  const auto differs = [](const std::string& sides) {
    return "<3>API " + sides + ", args in excess will be ignored.";
  };
  const std::vector<std::string> lines = takeLogLines();
  EXPECT_THAT(
      std::vector<std::string>(lines.begin() + 8, lines.end()),
      ElementsAre(
          "<7>Event gone has arguments : ", "<7>    q", "<7>Event move has arguments : ", "<7>    a",
          "<7>    other", "<7>Event land has arguments : ", "<7>    extra",
          "<7>Event move has arguments : ", "<7>    a",
          "<6>API named gone in log file wasn't found in libOstrel.so, if any, calls will be "
          "ignored",
          "<3>API move arg number 1 name differs between log file (other) and libostrel.so (b)",
          differs("land in log file has a different number (1) of argsthan was found in libOstrel (0)"),
          differs("move in log file has a different number (1) of argsthan was found in libOstrel (2)")));
}

TEST_F(LegacyReaderTest, ReadsSamplesUpToTheLastWholeRecord) {
  const auto reader = openContinuous(COLUMNS + RECORD + values({5, 1.5}) + RECORD.substr(0, 15));
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(reader->popSample(), 0);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(reader->popSample(), -ENODATA);
  EXPECT_EQ(index, 5);
  EXPECT_EQ(x, 1.5F);
}

TEST_F(LegacyReaderTest, ReadErrorEndsTheLogAndIsToldOnce) {
  std::string manyRecords;  // more than are read together with the header
  for (int i = 0; i < 10000; ++i) manyRecords += RECORD;
  const auto reader = openContinuous(COLUMNS + manyRecords);
  takeLogLines();
  setenv("IO_FAULT_AT", "1", 1);
  while (reader->popSample() == 0) continue;
  unsetenv("IO_FAULT_AT");
  EXPECT_EQ(reader->popSample(), -ENODATA);
  EXPECT_THAT(takeLogLines(), ElementsAre("<3>Could not read " + path + " : Input/output error"));
}

TEST_F(LegacyReaderTest, LaterOfTwoColumnsOfOneNameCounts) {
  EXPECT_EQ(openContinuous(continuousHeader({"x", "y", "x"}) + values({1, 2, 3}))->popSample(), 0);
  EXPECT_EQ(x, 3.0F);
}

TEST_F(LegacyReaderTest, OneKindOfLogDoesNotServeTheOther) {
  EXPECT_EQ(openContinuous(COLUMNS)->popSample(0, events), -EINVAL);
  EXPECT_EQ(openEvents(APIS)->popSample(), -EINVAL);
  EXPECT_THAT(takeLogLines(3), ElementsAre("<3>Can not pop sample from non event file",
                                           "<3>Can not pop sample from non-continuous file"));
}

const std::string FIRST = event(1, 0, {1, 2}), LATER = event(9, 1);
struct Calls : Row {
  std::string records;
  int step, result;
  std::vector<int> events;
  std::vector<double> moved;  ///< the arguments of `move` afterwards
};
class RecordedCalls : public LegacyReaderTest, public testing::WithParamInterface<Calls> {};

TEST_P(RecordedCalls, AreAppliedOnceDue) {
  const auto reader = openEvents(APIS + GetParam().records);
  EXPECT_EQ(reader->popSample(GetParam().step, events), GetParam().result);
  EXPECT_EQ(events, GetParam().events);
  EXPECT_EQ(api.arguments("move"), GetParam().moved);
}

const Calls CALLS[] = {
    {"NothingDue", LATER, 8, -EAGAIN, {}, {0, 0}},
    {"DueAtItsStep", LATER + LATER, 9, -ENODATA, {LAND, LAND}, {0, 0}},
    {"TwoOfOneStep", FIRST + event(1, 1) + LATER, 1, 2, {MOVE, LAND}, {1, 2}},
    {"SecondOverwritesFirst", FIRST + event(3, 0, {3, 4}) + LATER, 4, 2, {MOVE, MOVE}, {3, 4}},
    {"UnboundIds", event(1, 2, {7}) + event(1, 3) + event(1, -1) + FIRST + LATER, 1, 1, {MOVE}, {1, 2}},
    {"ExcessArguments", event(2, 0, {5, 6, 7, 8}) + event(2, 1) + LATER, 2, 2, {MOVE, LAND}, {5, 6}},
    {"FewArguments", FIRST + event(3, 0, {9}) + event(4, 0) + LATER, 4, 3, {MOVE, MOVE, MOVE}, {9, 2}},
    {"StepBeyondInt32", event(1e10, 1) + LATER, -5, 1, {LAND}, {0, 0}},
    {"EndBehindACall", FIRST, 1, -ENODATA, {MOVE}, {1, 2}},
    {"DamageToCome", FIRST + values({NAN, 5, 0}), 4, 1, {MOVE}, {1, 2}},
};
INSTANTIATE_ROWS(RecordedCalls, CALLS);

struct Ending : Row {
  std::string record;  ///< behind the record FIRST
  bool isTold;
};
class EventLogEnd : public LegacyReaderTest, public testing::WithParamInterface<Ending> {};

TEST_P(EventLogEnd, IsToldOnceWhereItIsNoRecordsEnd) {
  const auto reader = openEvents(APIS + FIRST + GetParam().record);
  takeLogLines();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(reader->popSample(5, events), -ENODATA);
  const std::string start = std::to_string(APIS.size() + FIRST.size());
  EXPECT_EQ(takeLogLines(), std::vector<std::string>(GetParam().isTold ? 1 : 0,
                                                     "<4>Event file " + path + " ends at byte " + start +
                                                         " : the record there is damaged or cut short"));
}

const Ending ENDINGS[] = {
    {"Whole", "", false},
    {"CutInItsArguments", FIRST.substr(0, 39), true},
    {"Damaged", values({23.9, 5, 0}) + LATER, true},
};
INSTANTIATE_ROWS(EventLogEnd, ENDINGS);

}  // namespace
