#include "replay/ReplayFixture.hpp"

using testing::ElementsAre;

namespace {

using Replay = ReplayFixture;

std::string jumped(int steps, int after) {
  return "<4>Jumped " + std::to_string(steps) + " steps after iteration " + std::to_string(after);
}

TEST_F(Replay, MakesItsCallsInOrderFromStartToTearDown) {
  const std::string events = APIS + event(1, LAND) + event(1, ARM, {1}) + event(1, LAND) +
                             event(2, TAKE_OFF, {2.5}) + event(9, LAND);
  replay(samples({0, 1, 3}), events, {"-d", "board", "-g", output});
  EXPECT_THAT(
      linesLike("@|<"),
      ElementsAre("@prctl 29 1", "@unlink /dev/shm/shd_navdata-replay", "@unlink /dev/shm/shd_ostrellite",
                  "@sleep 1", "<6>Starting execution ...", "<6>Input continuous bbox-file : cont",
                  "<6>Input event-bbox file      : events", "<6>Drone hardware             : board",
                  "<6>Drone mode                 : default", "<6>Generating new bbox to     : out",
                  "@closed cont",  // once its kind is known; the reader opens it again
                  "@Api::Input replayed", "<3>Using droneVariant given in args : board",
                  "@OSTREL_new board default", "@ostrel_log_tlmb_init navdata-replay 360000 500", "@wait",
                  "@set enabled=0", "@wait", "@set flushperiod=1", "@wait",
                  "@set filter=navdata-replay;ostrellite", "@wait", "@set logname=out", "@wait",
                  "@set logdir=" + output.substr(0, output.rfind('/')), "@wait", "@set enabled=1", "@wait",
                  "@OSTREL_process image=0..100", "@ostrel_log_tlmb_put 0", "@usleep 1",  //
                  "@apply land() image=0..100", "@apply set_motors_armed(armed=1) image=0..100",
                  "@apply land() image=0..100", "@OSTREL_process image=1..101", "@ostrel_log_tlmb_put 1",
                  "@usleep 1", jumped(2, 1), "@apply take_off(altitude=2.5) image=1..101",
                  "@OSTREL_process image=3..103", "@ostrel_log_tlmb_put 3", "@usleep 1",  //
                  END, "<4>Event file events : 1 calls were not made, the first one of step 9", "@sleep 1",
                  ran(3), "@ostrel_log_tlmb_cleanup", "@set back", "@wait", "@set back", "@wait",
                  "@set back", "@wait", "@set back", "@wait", "@set back", "@wait", "@kvs_ctx_stop",
                  "@kvs_ctx_evl_loop_unregister", "@kvs_ctx_destroy", "@evl_loop_destroy", "@OSTREL_delete",
                  "@Api::~Input", "@closed cont", "@closed events"));
}

struct PaceRow : Row {
  std::string value;
  Lines pauses;  // of two steps
};
class ReplayPace : public Replay, public testing::WithParamInterface<PaceRow> {};

TEST_P(ReplayPace, DecidesWhatComesBetweenTwoSteps) {
  variables["OSTREL_REPLAY_PACE"] = GetParam().value;
  EXPECT_EQ(replay(samples({0, 1}), APIS).exitStatus, 0);
  EXPECT_EQ(linesLike("@usleep|@sched_yield"), GetParam().pauses);
}

const PaceRow PACES[] = {
    {"Unset", "", {"@usleep 1", "@usleep 1"}},
    {"Sleep", "sleep", {"@usleep 1", "@usleep 1"}},
    {"Yield", "yield", {"@sched_yield", "@sched_yield"}},
};
INSTANTIATE_ROWS(ReplayPace, PACES);

struct Indices : Row {
  std::vector<int> indices;
  Lines lines;  // the tool's own from the first step on
};
class StepIndices : public Replay, public testing::WithParamInterface<Indices> {};

TEST_P(StepIndices, DecideWarningsAndTheEnd) {
  EXPECT_EQ(replay(samples(GetParam().indices), APIS).exitStatus, 0);
  EXPECT_EQ(linesLike("<4>J|<4>E|<6>R"), GetParam().lines);
}

const Indices INDICES[] = {
    {"GapsOneAfterTheOther", {1, 2, 4, 9}, {jumped(2, 2), jumped(5, 4), END, ran(9)}},
    {"GapAfterZero", {0, 4}, {END, ran(4)}},
    {"Negative", {1, -5, 2}, {"<4>Error on replay data read : Input/output error", ran(1)}},
    {"NegativeLikeTheEnd", {1, -61, 2}, {END, ran(1)}},
};
INSTANTIATE_ROWS(StepIndices, INDICES);

TEST_F(Replay, CallsMetWithTheEndOfTheEventLogAreReportedLost) {
  replay(samples({0, 1, 2}), APIS + event(1, LAND));
  EXPECT_THAT(linesLike("<4>|@apply|@ostrel|<6>Gen"),
              ElementsAre("<4>Error on replay event read during step 1 : No data available"));
}

TEST_F(Replay, ExceptionOfAStepTearsDownInOrderAndGoesOn) {
  variables["OSTREL_process_2"] = "throw";
  EXPECT_EQ(replay(samples({0, 1}), APIS, {"-d", "board", "-g", folder.path("out")}).exitStatus, 128 + 6);
  lines.erase(lines.begin(), std::find(lines.begin(), lines.end(), "@OSTREL_process image=1..101"));
  EXPECT_THAT(linesLike("@OSTREL|@ostrel|@kvs_ctx_d|@Api|@closed|terminate"),
              ElementsAre("@OSTREL_process image=1..101", "@ostrel_log_tlmb_cleanup", "@kvs_ctx_destroy",
                          "@OSTREL_delete", "@Api::~Input", "@closed cont", "@closed events",
                          testing::HasSubstr("terminate called")));
}

}  // namespace
