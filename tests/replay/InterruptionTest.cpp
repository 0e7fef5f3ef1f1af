#include <csignal>

#include "replay/ReplayFixture.hpp"

namespace {

std::string interrupted(int signalNumber, int lastStep) {
  return "<4>Replay interrupted by signal " + std::to_string(signalNumber) + " after step " +
         std::to_string(lastStep);
}

/// A replay of the steps 4 to 7 with signals at some of its calls.
struct Signals : Row {
  std::map<std::string, std::string> signals;
  int exitStatus;
  Lines end;  // the tool's own lines and its calls to the library from the last step on
};
class Interruption : public ReplayFixture, public testing::WithParamInterface<Signals> {};

TEST_P(Interruption, EndsAReplayThatHasStepsLeft) {
  std::signal(SIGINT, SIG_DFL);  // a script that runs the tests in the background ignores it
  variables.insert(GetParam().signals.begin(), GetParam().signals.end());
  EXPECT_EQ(replayInto(output, samples({4, 5, 6, 7})).exitStatus, GetParam().exitStatus);
  EXPECT_EQ(readFile(settings), earlier);
  Lines found = linesLike("@OSTREL|<4>R|<6>R");
  found.erase(found.begin(), std::find(found.begin(), found.end(), GetParam().end.front()));
  EXPECT_EQ(found, GetParam().end);
}

constexpr int BY_INTERRUPT = 128 + SIGINT, BY_TERMINATE = 128 + SIGTERM;
const std::string STEP_4 = "@OSTREL_process image=4..104", STEP_5 = "@OSTREL_process image=5..105";
const std::string STEP_7 = "@OSTREL_process image=7..107";
const std::string NEW = "@OSTREL_new board default", DELETE = "@OSTREL_delete";
const Signals SIGNALS[] = {
    {"Terminate", {{"OSTREL_process_2", "15"}}, BY_TERMINATE, {STEP_5, interrupted(15, 5), ran(5), DELETE}},
    {"BeforeTheFirstStep", {{"wait_1", "15"}}, BY_TERMINATE, {NEW, interrupted(15, 0), ran(0), DELETE}},
    {"Killed", {{"OSTREL_process_2", "9"}}, 128 + SIGKILL, {STEP_5}},
    {"DuringSetUp", {{"OSTREL_new_1", "15"}}, BY_TERMINATE, {NEW}},
    {"HungUp", {{"usleep_1", "1"}}, 128 + SIGHUP, {STEP_4, interrupted(1, 4), ran(4), DELETE}},
    // A second signal ends the sleep at the end, a third one the process.
    {"Twice",
     {{"usleep_1", "2"}, {"sleep_2", "15"}},
     BY_INTERRUPT,
     {STEP_4, interrupted(2, 4), ran(4), DELETE}},
    {"Thrice",
     {{"usleep_1", "2"}, {"sleep_2", "15"}, {"kvs_ctx_destroy_1", "15"}},
     BY_TERMINATE,
     {STEP_4, interrupted(2, 4), ran(4)}},
    {"WholeAndThenTwice",
     {{"sleep_2", "2"}, {"kvs_ctx_destroy_1", "15"}},
     0,
     {STEP_7, END, ran(7), DELETE}},
    {"WholeAndThenThrice",
     {{"usleep_4", "1"}, {"sleep_2", "2"}, {"kvs_ctx_destroy_1", "15"}},
     BY_TERMINATE,
     {STEP_7, END, ran(7)}},
    // A replay whose last step has run is whole, whatever comes after.
    {"AfterTheLastStep", {{"usleep_4", "15"}}, 0, {STEP_7, END, ran(7), DELETE}},
    {"InTearDown", {{"kvs_ctx_destroy_1", "15"}}, 0, {STEP_7, END, ran(7), DELETE}},
};
INSTANTIATE_ROWS(Interruption, SIGNALS);

using InterruptedExport = ReplayFixture;

TEST_F(InterruptedExport, IsTheWholeLogOfTheStepsThatRan) {
  replayInto(output, samples({4, 5}));
  const std::string two = readFile(output);
  variables["OSTREL_process_2"] = "15";
  replayInto(output, samples({4, 5, 6}));
  EXPECT_EQ(readFile(output), two);
}

TEST_F(InterruptedExport, IgnoresASignalThatTheToolWasStartedToIgnore) {
  for (const std::string signal : {"1", "2", "15"}) {
    variables["OSTREL_process_1"] = signal;
    EXPECT_EQ(replayInto(output, samples({4, 5}), "trap '' " + signal).exitStatus, 0) << signal;
  }
}

TEST_F(InterruptedExport, GoesOnWhenNobodyReadsTheLines) {
  replayInto(output, samples({0, 1}));
  const std::string whole = readFile(output);
  const std::string pipe = folder.path("pipe");
  const std::string noReader = "mkfifo " + pipe + "; exec 3<>" + pipe + " 2>" + pipe + " 3>&-";
  EXPECT_EQ(replayInto(output, samples({0, 1}), noReader).exitStatus, 0);
  EXPECT_EQ(readFile(output), whole);
}

}  // namespace
