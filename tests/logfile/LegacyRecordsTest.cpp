#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>

#include "logfile/LegacyRecords.hpp"
#include "support/LegacyLog.hpp"
#include "support/Row.hpp"
#include "support/TestFolder.hpp"

namespace {

const std::string HEADER = eventHeader("move, land", "2, 0", "a, b, none");
constexpr double MOVE_ID = 0, LAND_ID = 1;

class EventRecordsTest : public testing::Test {
 protected:
  /// Opens a log whose bytes behind the header are these.
  void open(const std::string& bytes) {
    EXPECT_EQ(file.open(folder.write("log", HEADER + bytes)), 0);
    file.readHeader();
  }

  TestFolder folder;
  LegacyFile file;
  const ParsedHeader<EventFormat> parsed = EventFormat::parse(LegacyHeader(HEADER));
  EventRecords records{file, *parsed.format};
  std::vector<double> values;
};

using States = std::vector<EventRecords::State>;

struct Records : Row {
  std::string bytes;
  States states;  ///< of the head and the arguments of each record, up to the end of the log
  EventRecords::Oddity oddity = EventRecords::NONE;  ///< of the first record
};
class WalkThroughRecords : public EventRecordsTest, public testing::WithParamInterface<Records> {};

TEST_P(WalkThroughRecords, MeetsTheseStates) {
  open(GetParam().bytes);
  States states = {records.readHead(values)};
  EXPECT_EQ(records.oddity, GetParam().oddity);
  while (states.back() != EventRecords::END && states.size() < 9) {
    const bool isRecord = states.back() <= EventRecords::UNUSUAL;
    if (isRecord) states.push_back(records.readArguments(values, 2));
    states.push_back(records.readHead(values));
  }
  EXPECT_EQ(states, GetParam().states);
}

constexpr auto WHOLE = EventRecords::WHOLE, UNUSUAL = EventRecords::UNUSUAL, END = EventRecords::END,
               CUT = EventRecords::CUT, DAMAGED = EventRecords::DAMAGED;
constexpr auto UNNAMED_API = EventRecords::UNNAMED_API, FRACTION = EventRecords::FRACTION,
               OTHER_COUNT = EventRecords::OTHER_ARGUMENT_COUNT;
const std::string CALL = event(5, MOVE_ID, {1, 2}), BEHIND = event(9, LAND_ID);
const Records RECORDS[] = {
    {"None", "", {END}},
    {"AsAnnounced", CALL + BEHIND, {WHOLE, WHOLE, WHOLE, WHOLE, END}},
    {"ApiBehindTheLast", event(5, 2) + BEHIND, {UNUSUAL, UNUSUAL, WHOLE, WHOLE, END}, UNNAMED_API},
    {"ApiBelowTheFirst", event(5, -1), {UNUSUAL, UNUSUAL, END}, UNNAMED_API},
    {"ApiNan", event(5, NAN), {UNUSUAL, UNUSUAL, END}, UNNAMED_API},
    {"ArgumentTooFew", event(5, MOVE_ID, {1}), {UNUSUAL, UNUSUAL, END}, OTHER_COUNT},
    {"ArgumentTooMany", event(5, LAND_ID, {1}), {UNUSUAL, UNUSUAL, END}, OTHER_COUNT},
    {"SizeWithAFraction", values({24.9, 5, LAND_ID}), {UNUSUAL, UNUSUAL, END}, FRACTION},
    {"StepWithAFraction", event(5.5, LAND_ID), {UNUSUAL, UNUSUAL, END}, FRACTION},
    {"ApiWithAFraction", event(5, 1.5), {UNUSUAL, UNUSUAL, END}, FRACTION},
    {"StepNan", event(NAN, LAND_ID), {UNUSUAL, UNUSUAL, END}, FRACTION},
    {"SizeOfItsHead", values({24, 5, LAND_ID}), {WHOLE, WHOLE, END}},
    {"SizeBelowItsHead", values({23.9, 5, LAND_ID}) + BEHIND, {UNUSUAL, DAMAGED, END}, OTHER_COUNT},
    {"SizeNan", values({NAN, 5, LAND_ID}) + BEHIND, {UNUSUAL, DAMAGED, END}, OTHER_COUNT},
    {"SizeInfinite", values({HUGE_VAL, 5, LAND_ID}) + BEHIND, {UNUSUAL, DAMAGED, END}, OTHER_COUNT},
    {"SizeBehindTheFile", values({1e9, 5, LAND_ID}) + BEHIND, {UNUSUAL, CUT, END}, OTHER_COUNT},
    {"SizeBehindAnyFile", values({1e300, 5, LAND_ID}) + BEHIND, {UNUSUAL, CUT, END}, OTHER_COUNT},
    {"FirstByteAlone", CALL.substr(0, 1), {CUT, END}},
    {"CutBeforeTheLastByteOfItsHead", CALL.substr(0, 23), {CUT, END}},
    {"CutBehindItsHead", CALL.substr(0, 24), {WHOLE, CUT, END}},
    {"CutBeforeItsLastByte", CALL.substr(0, 39), {WHOLE, CUT, END}},
};
INSTANTIATE_ROWS(WalkThroughRecords, RECORDS);

TEST_F(EventRecordsTest, KeepTheArgumentsThatAreWantedAndMovePastTheRest) {
  open(CALL + CALL + CALL);
  const std::vector<double> kept[] = {{40, 5, 0}, {40, 5, 0, 1}, {40, 5, 0, 1, 2}};
  for (std::size_t wanted = 0; wanted < 3; ++wanted) {
    records.readHead(values);
    EXPECT_EQ(records.readArguments(values, wanted), WHOLE);
    EXPECT_EQ(values, kept[wanted]);
    EXPECT_EQ(records.start, HEADER.size() + wanted * CALL.size());
  }
}

TEST_F(EventRecordsTest, RecordIsCutAlsoWhereNobodyWantsItsArguments) {
  open(CALL.substr(0, 39));
  records.readHead(values);
  EXPECT_EQ(records.readArguments(values, 0), CUT);
}

TEST_F(EventRecordsTest, AreUnreadableWhereTheSystemCanNotReadOn) {
  EXPECT_EQ(file.open(folder.path("")), 0);
  file.readHeader();
  EXPECT_EQ(records.readHead(values), EventRecords::UNREADABLE);
  EXPECT_EQ(file.readError(), -EISDIR);
}

}  // namespace
