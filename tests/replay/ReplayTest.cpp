#include "replay/ReplayFixture.hpp"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using Replay = ReplayFixture;

std::string jumped(int steps, int after) {
  return "<4>ostrelReplay: Jumped " + std::to_string(steps) + " steps after iteration " +
         std::to_string(after);
}

TEST_F(Replay, ExitsWithStatus0AndPrintsNothingOnStandardOutput) {
  const ProgramResult result = replay(samples({0, 1}), APIS);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "");
}

TEST_F(Replay, MakesItsCallsInOrderFromStartToTearDown) {
  replay(samples({0, 1, 3}), APIS + event(1, LAND) + event(1, ARM, {1}) + event(1, LAND) +
                                 event(2, TAKE_OFF, {2.5}) + event(9, LAND));
  EXPECT_THAT(
      linesLike({"@", "<3>", "<4>", "<6>ostrelReplay: R"}),
      ElementsAre("@prctl 29 1", "@unlink /dev/shm/shd_navdata-replay", "@unlink /dev/shm/shd_ostrellite",
                  "@sleep 1",  //
                  "@Api::Input replayed", "<3>ostrelReplay: Using droneVariant given in args : board",
                  "@OSTREL_new board default", "@OSTREL_process image=0..100", "@usleep 1",  //
                  "@apply land() image=0..100", "@apply set_motors_armed(armed=1) image=0..100",
                  "@apply land() image=0..100", "@OSTREL_process image=1..101", "@usleep 1", jumped(2, 1),
                  "@apply take_off(altitude=2.5) image=1..101", "@OSTREL_process image=3..103",
                  "@usleep 1",  //
                  END, "@sleep 1", ran(3), "@OSTREL_delete", "@Api::~Input", "@closed cont",
                  "@closed events"));
}

struct Indices : Row {
  std::vector<int> indices;
  Lines lines;  // the tool's own from the first step on
};
class StepIndices : public Replay, public testing::WithParamInterface<Indices> {};

TEST_P(StepIndices, DecideWarningsAndTheEnd) {
  EXPECT_EQ(replay(samples(GetParam().indices), APIS).exitStatus, 0);
  EXPECT_EQ(linesLike({"<4>ostrelReplay: J", "<4>ostrelReplay: E", "<6>ostrelReplay: R"}),
            GetParam().lines);
}

constexpr int MOST = 2147483647;
const std::string READ_ERROR = "<4>ostrelReplay: Error on replay data read : ";
const Indices INDICES[] = {
    {"NoSample", {}, {END, ran(0)}},
    {"OneStepMissing", {1, 3}, {jumped(2, 1), END, ran(3)}},
    {"NoStepMissing", {1, 2, 3}, {END, ran(3)}},
    {"GapsOneAfterTheOther", {1, 4, 9}, {jumped(3, 1), jumped(5, 4), END, ran(9)}},
    {"GapAfterZero", {0, 4}, {END, ran(4)}},
    {"FirstStepFarFromZero", {4}, {END, ran(4)}},
    {"Repeated", {3, 3}, {END, ran(3)}},
    {"Backwards", {7, 3}, {END, ran(3)}},
    {"LargestGap", {1, MOST}, {jumped(MOST - 1, 1), END, ran(MOST)}},
    {"Negative", {1, -5, 2}, {READ_ERROR + "Input/output error", ran(1)}},
    {"SmallestNegative", {1, -1, 2}, {READ_ERROR + "Operation not permitted", ran(1)}},
    {"NegativeLikeTheEnd", {1, -61, 2}, {END, ran(1)}},
    {"MostNegative", {3, -MOST - 1}, {READ_ERROR + "Unknown error -2147483648", ran(3)}},
};
INSTANTIATE_ROWS(StepIndices, INDICES);

TEST_F(Replay, NegativeIndexRunsNeitherCallsNorAStep) {
  replay(samples({-5}), APIS + event(-6, LAND) + event(9, LAND));
  EXPECT_THAT(linesLike({"@apply", "@OSTREL_process"}), IsEmpty());
}

TEST_F(Replay, LogWithoutIndexStaysAtStepZero) {
  replay(continuousHeader({"inputs.sensors.flags"}) + values({7, 8}),
         APIS + event(0, LAND) + event(1, LAND) + event(9, LAND));
  EXPECT_THAT(linesLike({"@apply", "@OSTREL_process", "<6>ostrelReplay: Ran"}),
              ElementsAre("@apply land() image=0..0", "@OSTREL_process image=0..7",
                          "@OSTREL_process image=0..8", ran(0)));
}

TEST_F(Replay, CallsMetWithTheEndOfTheEventLogAreReportedLost) {
  replay(samples({0, 1, 2}), APIS + event(1, LAND));
  EXPECT_THAT(linesLike({"<4>ostrelReplay: Error", "@apply"}),
              ElementsAre("<4>ostrelReplay: Error on replay event read during step 1 : No data available"));
}

TEST_F(Replay, EventLogThatIsOverIsNotReported) {
  replay(samples({0, 1, 2}), APIS);
  EXPECT_THAT(linesLike({"<4>ostrelReplay: Error", "@apply"}), IsEmpty());
}

TEST_F(Replay, ExceptionOfAStepTearsDownInOrderAndGoesOn) {
  variables["PROBE_THROW"] = "image=1..101";
  EXPECT_EQ(replay(samples({0, 1}), APIS, {"-d", "board", "-g", folder.path("out")}).exitStatus, 128 + 6);
  const auto thrown = std::find(lines.begin(), lines.end(), "@OSTREL_process image=1..101");
  lines.erase(lines.begin(), thrown);
  EXPECT_THAT(linesLike({"@OSTREL", "@ostrel", "@kvs_ctx_destroy", "@Api", "@closed", "terminate"}),
              ElementsAre("@OSTREL_process image=1..101", "@ostrel_log_tlmb_cleanup", "@kvs_ctx_destroy",
                          "@OSTREL_delete", "@Api::~Input", "@closed cont", "@closed events",
                          HasSubstr("terminate called")));
}

}  // namespace
