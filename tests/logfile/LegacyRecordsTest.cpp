#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>

#include "logfile/LegacyRecords.hpp"
#include "support/LegacyLog.hpp"
#include "support/Row.hpp"
#include "support/TestFolder.hpp"

namespace {

const std::string APIS = eventHeader("move, land", "2, 0", "a, b, none");
constexpr double MOVE = 0, LAND = 1;

class EventRecordsTest : public testing::Test {
 protected:
  /// The records of a log whose bytes behind the header are these.
  EventRecords& open(const std::string& bytes) {
    EXPECT_EQ(file.open(folder.write("log", APIS + bytes)), 0);
    file.readHeader();
    return records;
  }

  TestFolder folder;
  LegacyFile file;
  const decltype(EventFormat::parse(LegacyHeader(""))) parsed = EventFormat::parse(LegacyHeader(APIS));
  EventRecords records{file, *parsed.format};
  std::vector<double> values;
};

struct Record : Row {
  std::string bytes;
  EventRecords::State head, whole;  ///< what readHead() gives, and then readArguments()
  EventRecords::Oddity oddity = EventRecords::NONE;
};
class EventRecord : public EventRecordsTest, public testing::WithParamInterface<Record> {};

TEST_P(EventRecord, IsJudged) {
  open(GetParam().bytes);
  EXPECT_EQ(records.readHead(values), GetParam().head);
  if (GetParam().head > EventRecords::UNUSUAL) return;
  EXPECT_EQ(records.oddity, GetParam().oddity);
  EXPECT_EQ(records.readArguments(values, 2), GetParam().whole);
}

TEST_P(EventRecord, EndsTheLogForGoodUnlessItIsOne) {
  open(GetParam().bytes);
  if (records.readHead(values) > EventRecords::UNUSUAL ||
      records.readArguments(values, 0) > EventRecords::UNUSUAL) {
    for (int i = 0; i < 2; ++i) EXPECT_EQ(records.readHead(values), EventRecords::END);
  }
}

constexpr auto WHOLE = EventRecords::WHOLE, UNUSUAL = EventRecords::UNUSUAL, END = EventRecords::END,
               CUT = EventRecords::CUT, DAMAGED = EventRecords::DAMAGED;
constexpr auto UNNAMED_API = EventRecords::UNNAMED_API, FRACTION = EventRecords::FRACTION,
               OTHER_COUNT = EventRecords::OTHER_ARGUMENT_COUNT;
const std::string CALL = event(5, MOVE, {1, 2}), BEHIND = event(9, LAND);
const Record RECORDS[] = {
    {"AsAnnounced", CALL, WHOLE, WHOLE},
    {"WithoutArguments", event(5, LAND), WHOLE, WHOLE},
    {"ApiBehindTheLast", event(5, 2), UNUSUAL, UNUSUAL, UNNAMED_API},
    {"ApiBelowTheFirst", event(5, -1), UNUSUAL, UNUSUAL, UNNAMED_API},
    {"ApiNan", event(5, NAN), UNUSUAL, UNUSUAL, UNNAMED_API},
    {"OneArgumentTooFew", event(5, MOVE, {1}), UNUSUAL, UNUSUAL, OTHER_COUNT},
    {"OneArgumentTooMany", event(5, LAND, {1}), UNUSUAL, UNUSUAL, OTHER_COUNT},
    {"SizeWithAFraction", values({24.9, 5, LAND}), UNUSUAL, UNUSUAL, FRACTION},
    {"StepWithAFraction", event(5.5, LAND), UNUSUAL, UNUSUAL, FRACTION},
    {"ApiWithAFraction", event(5, 1.5), UNUSUAL, UNUSUAL, FRACTION},
    {"StepNan", event(NAN, LAND), UNUSUAL, UNUSUAL, FRACTION},
    {"SizeOfItsHead", values({24, 5, LAND}) + BEHIND, WHOLE, WHOLE},
    {"SizeJustBelowItsHead", values({23.9, 5, LAND}) + BEHIND, UNUSUAL, DAMAGED, OTHER_COUNT},
    {"SizeNan", values({NAN, 5, LAND}) + BEHIND, UNUSUAL, DAMAGED, OTHER_COUNT},
    {"SizeInfinite", values({HUGE_VAL, 5, LAND}) + BEHIND, UNUSUAL, DAMAGED, OTHER_COUNT},
    {"SizeBehindTheFile", values({1e9, 5, LAND}) + BEHIND, UNUSUAL, CUT, OTHER_COUNT},
    {"SizeBehindAnyFile", values({1e300, 5, LAND}) + BEHIND, UNUSUAL, CUT, OTHER_COUNT},
    {"Nothing", "", END, END},
    {"FirstByteAlone", CALL.substr(0, 1), CUT, END},
    {"CutBeforeTheLastByteOfItsHead", CALL.substr(0, 23), CUT, END},
    {"CutBehindItsHead", CALL.substr(0, 24), WHOLE, CUT},
    {"CutBeforeItsLastByte", CALL.substr(0, 39), WHOLE, CUT},
};
INSTANTIATE_ROWS(EventRecord, RECORDS);

TEST_F(EventRecordsTest, KeepTheArgumentsThatAreWantedAndMovePastTheRest) {
  open(CALL + CALL + CALL + BEHIND);
  const std::vector<double> kept[] = {{40, 5, 0}, {40, 5, 0, 1}, {40, 5, 0, 1, 2}};
  for (std::size_t wanted = 0; wanted < 3; ++wanted) {
    records.readHead(values);
    EXPECT_EQ(records.readArguments(values, wanted), EventRecords::WHOLE);
    EXPECT_EQ(values, kept[wanted]);
    EXPECT_EQ(records.start, APIS.size() + wanted * CALL.size());
  }
  EXPECT_EQ(records.readHead(values), EventRecords::WHOLE);
  EXPECT_EQ(records.head.step, 9);
}

TEST_F(EventRecordsTest, RecordIsCutAlsoWhereNobodyWantsItsArguments) {
  open(CALL.substr(0, 39)).readHead(values);
  EXPECT_EQ(records.readArguments(values, 0), EventRecords::CUT);
}

TEST_F(EventRecordsTest, AreUnreadableWhereTheSystemCanNotReadOn) {
  EXPECT_EQ(file.open(folder.path("")), 0);
  file.readHeader();
  EXPECT_EQ(records.readHead(values), EventRecords::UNREADABLE);
  EXPECT_EQ(file.readError(), -EISDIR);
}

TEST(EventHead, TruncatesWhatIsRecorded) {
  const double recorded[] = {40.9, -5.9, 1.9};
  const EventHead head(recorded);
  EXPECT_EQ(head.recordBytes, 40U);
  EXPECT_EQ(head.argumentCount, 2U);
  EXPECT_EQ(head.step, -5);
  EXPECT_EQ(head.eventId, 1);
}

}  // namespace
