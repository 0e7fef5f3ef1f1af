#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

#include "logfile/LegacyReader.hpp"
#include "support/ApiProbe.hpp"
#include "support/LegacyLog.hpp"
#include "support/LogProbe.hpp"
#include "support/TestFolder.hpp"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class LegacyReaderTest : public testing::Test {
 protected:
  LegacyReaderTest() {
    registry.reg<int>("index", &index);
    registry.reg<float>("x", &x);
    registry.freeze();
    takeLogLines();
  }

  /// A reader on a log of these bytes, opened.
  std::unique_ptr<LogFile::IReader> openContinuous(const std::string& bytes) {
    return open(LegacyReader::create(registry, LogFile::CONTENTS_CONTINUOUS), bytes);
  }
  std::unique_ptr<LogFile::IReader> openEvents(const std::string& bytes) {
    return open(LegacyReader::create(api.registry, LogFile::CONTENTS_EVENTS), bytes);
  }

  int index = 0;
  float x = 0;
  DataRegistry registry;
  ApiProbe api{ApiProbe::Apis{{"land", {}}, {"move", {"a", "b"}}}};
  std::vector<int> events = {99};
  TestFolder folder;

 private:
  std::unique_ptr<LogFile::IReader> open(LogFile::IReader* made, const std::string& bytes) {
    std::unique_ptr<LogFile::IReader> reader(made);
    EXPECT_EQ(reader->open(folder.write("log", bytes).c_str()), 0);
    return reader;
  }
};

const std::string COLUMNS = continuousHeader({"index", "x"});
/// Event ids: 0 is bound to `move` (registry position 1), 1 to `land` (0), 2 to nothing.
const std::string APIS = eventHeader("move, land, gone", "2, 0, 1", "a, b, none, q");
constexpr int MOVE = 1;
constexpr int LAND = 0;

TEST_F(LegacyReaderTest, PathsThatCanNotBeOpenedAreTheCallersToReport) {
  std::unique_ptr<LogFile::IReader> reader(LegacyReader::create(registry, LogFile::CONTENTS_CONTINUOUS));
  EXPECT_EQ(reader->open(""), -EINVAL);
  EXPECT_EQ(reader->open(folder.path("missing").c_str()), -EINVAL);
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

TEST_F(LegacyReaderTest, OneKindOfLogDoesNotServeTheOther) {
  auto continuous = openContinuous(COLUMNS);
  auto eventLog = openEvents(APIS);
  takeLogLines();
  EXPECT_EQ(continuous->popSample(0, events), -EINVAL);
  EXPECT_EQ(eventLog->popSample(), -EINVAL);
  EXPECT_THAT(takeLogLines(), ElementsAre("<3>Can not pop sample from non event file",
                                          "<3>Can not pop sample from non-continuous file"));
}

struct Header {
  const char* label;
  std::string bytes;
  std::vector<std::string> lines;  // at warning priority or above, the file's name cut out
};
void PrintTo(const Header& row, std::ostream* out) {
  *out << row.label;
}

class LegacyHeaderExtraction : public LegacyReaderTest, public testing::WithParamInterface<Header> {};

TEST_P(LegacyHeaderExtraction, FindsTheHeaderBehindThePreamble) {
  auto reader = openContinuous(GetParam().bytes);
  std::vector<std::string> lines = takeLogLines(4);
  for (std::string& line : lines) {
    const auto at = line.find(folder.path("log"));
    if (at != std::string::npos) line.replace(at, folder.path("log").size(), "LOG");
  }
  EXPECT_EQ(lines, GetParam().lines);
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(index, 4);
  EXPECT_EQ(x, 0.5F);
  EXPECT_EQ(reader->popSample(), -ENODATA);
}

const std::string RECORD = values({4, 0.5});
INSTANTIATE_TEST_SUITE_P(Files, LegacyHeaderExtraction,
                         testing::ValuesIn<Header>({
                             {"SixLinesBefore", "1\n2\n3\n4\n5\n\n" + COLUMNS + RECORD, {}},
                             {"SevenLinesBefore",
                              "1\n2\n3\n4\n5\n6\n\n" + COLUMNS + RECORD,
                              {"<4>Input file LOG has 7 lines before its header, is it normal?"}},
                             {"MarkersInsideLines",
                              "xx -- Build infos yy\nnentries : 2\ntitles : index, x\nxx -- Data yy\n" +
                                  RECORD,
                              {}},
                             {"CarriageReturns",
                              "-- Build infos\r\nnentries : 2\r\ntitles : index, x\r\n-- Data\r\n" + RECORD,
                              {}},
                             {"DataMarkerBeforeTheHeader", "-- Data\n" + COLUMNS + RECORD, {}},
                         }),
                         [](const auto& row) { return std::string(row.param.label); });

using LegacyReaderDeathTest = LegacyReaderTest;

TEST_F(LegacyReaderDeathTest, FileWithoutHeaderCountsEveryLine) {
  EXPECT_EXIT(openContinuous("1\n2\n3\n4\n5\n6\n7\nlast"), testing::ExitedWithCode(1),
              "<3>Input file .*/log badly formatted, missing header section \"-- Navdata infos\"\n"
              "<4>Input file .*/log has 8 lines before its header, is it normal\\?\n"
              "<3>File doesn't have a 'titles' entry\n$");
  EXPECT_EXIT(openContinuous("-- Build infos -- Data\n"), testing::ExitedWithCode(1),
              "Found header entry --Buildinfos--Data\n<3>File doesn't have a 'titles' entry\n$");
}

TEST_F(LegacyReaderDeathTest, DirectoryIsAReadErrorNotAnEndlessOne) {
  std::unique_ptr<LogFile::IReader> reader(LegacyReader::create(registry, LogFile::CONTENTS_CONTINUOUS));
  EXPECT_EXIT(reader->open(folder.makeDirectory("logs").c_str()), testing::ExitedWithCode(1),
              "<3>Could not read .*/logs : Is a directory\n");
}

TEST_F(LegacyReaderTest, HeaderWithoutDataMarkerHasNoRecords) {
  auto reader = openContinuous("-- Build infos\nnentries : 2\ntitles : index, x\n" + RECORD);
  EXPECT_THAT(takeLogLines(4), IsEmpty());
  EXPECT_EQ(reader->popSample(), -ENODATA);
}

TEST_F(LegacyReaderTest, OversizedHeaderIsBoundedAndSaid) {
  const std::string filler(5UL * 1024 * 1024, 'x');
  auto reader = openContinuous(header("nentries : 2\ntitles : index, x\n" + filler + "\n") + RECORD);
  EXPECT_THAT(takeLogLines(4), ElementsAre(HasSubstr("has a header of more than 4194304 bytes")));
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(index, 4);
}

TEST_F(LegacyReaderTest, VariantComesFromTheKeyOfTheKind) {
  EXPECT_EQ(openContinuous(continuousHeader({"x"}, "product : no\nro.hardware : quad\n"))->droneVariant,
            "quad");
  EXPECT_EQ(openContinuous(continuousHeader({"x"}, "ro.hardware\n"))->droneVariant, "");
  EXPECT_EQ(openEvents(eventHeader("f", "0", "x", "product : hexa\nro.hardware : no\n"))->droneVariant,
            "hexa");
  EXPECT_EQ(openEvents(APIS)->droneVariant, "");
}

TEST_F(LegacyReaderTest, ReadsWholeRecordsUntilTheEndAndEverAfter) {
  auto reader = openContinuous(COLUMNS + values({1, 0.5, 2, 1.5}) + values({3, 2.5}).substr(0, 15));
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(x, 1.5F);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(reader->popSample(), -ENODATA);
  EXPECT_EQ(index, 2);
  EXPECT_EQ(reader->close(), 0);
}

TEST_F(LegacyReaderTest, AppliesEventsOnceTheirStepHasCome) {
  auto reader = openEvents(APIS + event(2, 0, {1, 2}) + event(2, 1) + event(5, 0, {3, 4}) + event(9, 1));
  EXPECT_EQ(reader->popSample(0, events), -EAGAIN);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(reader->popSample(2, events), 2);
  EXPECT_THAT(events, ElementsAre(MOVE, LAND));
  EXPECT_THAT(api.arguments("move"), ElementsAre(1, 2));
  EXPECT_EQ(reader->popSample(3, events), -EAGAIN);
  EXPECT_EQ(reader->popSample(3, events), -EAGAIN);
  EXPECT_EQ(reader->popSample(7, events), 1);
  EXPECT_THAT(api.arguments("move"), ElementsAre(3, 4));
}

TEST_F(LegacyReaderTest, SecondCallOfAnApiOverwritesTheFirstOnesArguments) {
  auto reader = openEvents(APIS + event(1, 0, {1, 2}) + event(3, 0, {3, 4}) + event(9, 1));
  EXPECT_EQ(reader->popSample(4, events), 2);
  EXPECT_THAT(events, ElementsAre(MOVE, MOVE));
  EXPECT_THAT(api.arguments("move"), ElementsAre(3, 4));
}

TEST_F(LegacyReaderTest, FirstApiByNameIsASuccessToo) {
  auto reader = openEvents(APIS + event(1, 1) + event(2, 1));
  EXPECT_EQ(reader->popSample(1, events), 1);
  EXPECT_THAT(events, ElementsAre(LAND));
}

TEST_F(LegacyReaderTest, SkipsCallsThatAreNotBoundWhole) {
  auto reader = openEvents(APIS + event(1, 2, {7}) + event(1, 17, {8, 9}) + event(1, -1) +
                           event(1, 0, {1, 2}) + event(9, 1));
  EXPECT_EQ(reader->popSample(1, events), 1);
  EXPECT_THAT(events, ElementsAre(MOVE));
  EXPECT_THAT(api.arguments("move"), ElementsAre(1, 2));
}

TEST_F(LegacyReaderTest, TakesAsManyArgumentsAsBothSidesHave) {
  auto reader = openEvents(APIS + event(1, 0, {1, 2}) + event(2, 0, {5, 6, 7, 8}) + event(3, 0, {9}) +
                           event(4, 0) + event(9, 1));
  reader->popSample(1, events);
  EXPECT_EQ(reader->popSample(2, events), 1);
  EXPECT_THAT(api.arguments("move"), ElementsAre(5, 6));
  EXPECT_EQ(reader->popSample(4, events), 2);
  EXPECT_THAT(api.arguments("move"), ElementsAre(9, 6));
}

TEST_F(LegacyReaderTest, EndInsideACallKeepsWhatItApplied) {
  auto reader = openEvents(APIS + event(2, 0, {1, 2}));
  takeLogLines();
  EXPECT_EQ(reader->popSample(2, events), -ENODATA);
  EXPECT_THAT(events, ElementsAre(MOVE));
  EXPECT_THAT(api.arguments("move"), ElementsAre(1, 2));
  EXPECT_EQ(reader->popSample(3, events), -ENODATA);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

struct Damage {
  const char* label;
  std::string record;
};
void PrintTo(const Damage& row, std::ostream* out) {
  *out << row.label;
}

class DamagedEventRecord : public LegacyReaderTest, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedEventRecord, EndsTheLogOnceItIsDue) {
  auto reader = openEvents(APIS + event(1, 0, {1, 2}) + GetParam().record);
  takeLogLines();
  // A damaged record that is not due yet does no harm, one cut before its step is known ends the log at
  // once.
  const bool stepIsKnown = GetParam().record.size() >= 24;
  EXPECT_EQ(reader->popSample(1, events), stepIsKnown ? 1 : -ENODATA);
  EXPECT_EQ(reader->popSample(5, events), -ENODATA);
  EXPECT_THAT(api.arguments("move"), ElementsAre(1, 2));
  const std::string place = "ends at byte " + std::to_string(APIS.size() + 40) + " ";
  EXPECT_THAT(takeLogLines(), ElementsAre(testing::AllOf(HasSubstr("<4>Event file " + folder.path("log")),
                                                         HasSubstr(place))));
  EXPECT_EQ(reader->popSample(6, events), -ENODATA);
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
INSTANTIATE_TEST_SUITE_P(Records, DamagedEventRecord,
                         testing::ValuesIn<Damage>({
                             {"CutInItsFirstValue", event(5, 0).substr(0, 1)},
                             {"CutInItsHeader", event(5, 0).substr(0, 23)},
                             {"CutInItsArguments", event(5, 0, {3, 4}).substr(0, 39)},
                             {"CutWhereItWouldBeSkipped", event(5, 2, {3, 4}).substr(0, 39)},
                             {"SizeBelowItsHeader", values({23.9, 5, 0, 3, 4})},
                             {"SizeNegative", values({-40, 5, 0, 3, 4})},
                             {"SizeNan", values({NOT_A_NUMBER, 5, 0, 3, 4})},
                             {"SizeInfinite", values({INFINITE, 5, 0, 3, 4})},
                             {"SizeBehindTheFile", values({1e9, 5, 0, 3, 4})},
                             {"SizeBehindAnyFile", values({1e300, 5, 2, 3, 4})},
                         }),
                         [](const auto& row) { return std::string(row.param.label); });

}  // namespace
