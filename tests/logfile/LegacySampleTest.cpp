#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "logfile/ApiArguments.hpp"
#include "logfile/LegacySample.hpp"
#include "support/ApiProbe.hpp"
#include "support/LegacyLog.hpp"
#include "support/LogProbe.hpp"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(ContinuousBinding, ReportsNamesThatOnlyOneSideHas) {
  float x = 1;
  float y = 2;
  DataRegistry registry;
  registry.reg<float>("x", &x);
  registry.reg<float>("y", &y);
  registry.freeze();
  const ContinuousFormat format("titles : z, x, w, x\nnentries : 4\n");
  LegacyContinuousSample sample(format);
  takeLogLines();
  EXPECT_EQ(sample.buildList(registry), 0);
  EXPECT_THAT(takeLogLines(),
              ElementsAre("<4>1 registered entries not found in file :", "<4>    y",
                          "<6>2 entries found in file but not registered to", "<7>    z", "<7>    w"));

  sample.assign({10, 11, 12, 13});
  EXPECT_EQ(sample.updateRegEntries(), 0);
  EXPECT_EQ(x, 13);  // the later column of the two
  EXPECT_EQ(y, 2);
}

TEST(ContinuousBinding, SaysNothingWhenAllNamesMatch) {
  float x = 0;
  DataRegistry registry;
  registry.reg<float>("x", &x);
  registry.freeze();
  const ContinuousFormat format("titles : x\nnentries : 1\n");
  LegacyContinuousSample sample(format);
  takeLogLines();
  sample.buildList(registry);
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

TEST(EventBinding, ReportsWhatDiffersAndBindsByPosition) {
  ApiProbe api(ApiProbe::Apis{{"move", {"a", "b", "c"}}, {"stop", {}}});
  const EventFormat format(
      "type : events\ntypes\nnentries\n"
      "titles : gone, move, stop\nargNb : 1, 2, 1\nargList : q, a, other, extra\n");
  LegacyEventSample sample(format);
  takeLogLines();
  EXPECT_EQ(sample.buildList(api.registry), 0);
  EXPECT_THAT(
      takeLogLines(),
      ElementsAre(
          "<6>API named gone in log file wasn't found in libOstrel.so, if any, calls will be ignored",
          "<3>API move arg number 1 name differs between log file (other) and libostrel.so (b)",
          "<3>API move in log file has a different number (2) of argsthan was found in libOstrel (3), "
          "args in excess will be ignored.",
          "<3>API stop in log file has a different number (1) of argsthan was found in libOstrel (0), "
          "args in excess will be ignored."));

  sample.assign({40, 7, 1});
  sample.readHeader();
  EXPECT_EQ(sample.getIndex(), 7);
  EXPECT_EQ(sample.getEventIndex(), 0);
  EXPECT_EQ(sample.getSampleSize(), 2U);
  sample.push_back(1.5);
  sample.push_back(2.5);
  EXPECT_EQ(sample.updateRegEntries(), 0);
  EXPECT_THAT(api.arguments("move"), ElementsAre(1.5, 2.5, 0));  // the third keeps what it held
}

TEST(EventBinding, EmptyRegistryBindsNoApi) {
  DataRegistry registry;
  registry.freeze();
  const EventFormat format("type : events\ntypes\nnentries\ntitles : f, g\nargNb : 0, 0\nargList : x, x\n");
  LegacyEventSample sample(format);
  takeLogLines();
  sample.buildList(registry);
  EXPECT_EQ(takeLogLines().size(), 2U);
}

struct RecordHeader {
  const char* label;
  double size, step, id;
  std::int32_t index, eventIndex;
  std::uint64_t arguments;
};
void PrintTo(const RecordHeader& row, std::ostream* out) {
  *out << row.label;
}

class EventRecordHeader : public testing::TestWithParam<RecordHeader> {};

TEST_P(EventRecordHeader, IsDecoded) {
  ApiProbe api(ApiProbe::Apis{{"move", {"a"}}});
  const EventFormat format("type : events\ntypes\nnentries\ntitles : move\nargNb : 1\nargList : a\n");
  LegacyEventSample sample(format);
  sample.buildList(api.registry);
  const RecordHeader& row = GetParam();
  sample.assign({row.size, row.step, row.id});
  sample.readHeader();
  EXPECT_EQ(sample.getIndex(), row.index);
  EXPECT_EQ(sample.getEventIndex(), row.eventIndex);
  EXPECT_EQ(sample.getSampleSize(), row.arguments);
  EXPECT_LE(sample.getBoundSize(), 1U);
}

constexpr std::int32_t LOWEST = std::numeric_limits<std::int32_t>::min();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(Values, EventRecordHeader,
                         testing::ValuesIn<RecordHeader>({
                             {"Plain", 32, 5.9, 0.5, 5, 0, 1},
                             {"SizeNotWhole", 39.9, 1, 0, 1, 0, 1},
                             {"NegativeId", 32, 1, -1, 1, -1, 1},
                             {"IdBehindTheTitles", 32, 1, 1, 1, -1, 1},
                             {"IdNan", 32, 1, NOT_A_NUMBER, 1, -1, 1},
                             {"StepBeyondInt32", 32, 1e10, 0, LOWEST, 0, 1},
                             {"SizeBeyondUint64", 1e300, 1, 0, 1, 0, (std::uint64_t{1} << 60U) - 3},
                         }),
                         [](const auto& row) { return std::string(row.param.label); });

}  // namespace
