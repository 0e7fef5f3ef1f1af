#include <csignal>

#include "replay/ReplayFixture.hpp"

using testing::Contains;

namespace {

std::string interrupted(int signalNumber, int lastStep) {
  return "<4>ostrelReplay: Replay interrupted by signal " + std::to_string(signalNumber) + " after step " +
         std::to_string(lastStep);
}

/// A replay of the steps 4 to 7 with signals at some of its calls.
struct Signals : Row {
  std::string signals;
  int exitStatus;
  Lines end;  // the tool's own lines and its calls to the library from the last step on
};
class Interruption : public ExportFixture, public testing::WithParamInterface<Signals> {};

TEST_P(Interruption, EndsAReplayThatHasStepsLeft) {
  variables["PROBE_SIGNALS"] = GetParam().signals;
  EXPECT_EQ(replayInto(output, samples({4, 5, 6, 7})).exitStatus, GetParam().exitStatus);
  EXPECT_EQ(readFile(settings), earlier);
  const Lines found = linesLike({"@OSTREL", "<4>ostrelReplay: R", "<6>ostrelReplay: R"});
  const std::size_t count = std::min(found.size(), GetParam().end.size());
  EXPECT_EQ(Lines(found.end() - static_cast<std::ptrdiff_t>(count), found.end()), GetParam().end);
}

constexpr int BY_INTERRUPT = 128 + SIGINT, BY_TERMINATE = 128 + SIGTERM;
const std::string STEP_4 = "@OSTREL_process image=4..104", STEP_5 = "@OSTREL_process image=5..105";
const std::string STEP_7 = "@OSTREL_process image=7..107";
const std::string NEW = "@OSTREL_new board default", DELETE = "@OSTREL_delete";
const Signals SIGNALS[] = {
    {"Terminate", "OSTREL_process:2=15", BY_TERMINATE, {STEP_5, interrupted(15, 5), ran(5), DELETE}},
    {"Interrupt", "OSTREL_process:2=2", BY_INTERRUPT, {STEP_5, interrupted(2, 5), ran(5), DELETE}},
    {"BetweenTwoSteps", "usleep:1=15", BY_TERMINATE, {STEP_4, interrupted(15, 4), ran(4), DELETE}},
    {"BeforeTheFirstStep", "kvs_ctx_start:1=15", BY_TERMINATE, {NEW, interrupted(15, 0), ran(0), DELETE}},
    {"DuringSetUp", "OSTREL_new:1=15", BY_TERMINATE, {NEW}},
    {"TerminateTwice", "usleep:1=15,sleep:2=15", BY_TERMINATE, {STEP_4, interrupted(15, 4)}},
    {"InterruptThenTerminate", "usleep:1=2,sleep:2=15", BY_TERMINATE, {STEP_4, interrupted(2, 4)}},
    {"TerminateThenInterrupt", "usleep:1=15,sleep:2=2", BY_INTERRUPT, {STEP_4, interrupted(15, 4)}},
    // A replay whose last step has run is whole, whatever comes after.
    {"AfterTheLastStep", "usleep:4=15", 0, {STEP_7, END, ran(7), DELETE}},
    {"AfterTheEnd", "sleep:2=2", 0, {STEP_7, END, ran(7), DELETE}},
    {"WhileTheSettingsGoBack", "kvs_ctx_set:1=15", 0, {STEP_7, END, ran(7), DELETE}},
};
INSTANTIATE_ROWS(Interruption, SIGNALS);

class InterruptedExport : public ExportFixture {};

TEST_F(InterruptedExport, IsTheWholeLogOfTheStepsThatRan) {
  variables["PROBE_SIGNALS"] = "OSTREL_process:2=15";
  replayInto(output, samples({4, 5, 6}));
  const std::string two = readFile(output);
  variables.erase("PROBE_SIGNALS");
  replayInto(output, samples({4, 5}));
  EXPECT_EQ(two, readFile(output));
}

TEST_F(InterruptedExport, IgnoresASignalThatTheToolWasStartedToIgnore) {
  for (const std::string signal : {"2", "15"}) {
    variables["PROBE_IGNORED_SIGNAL"] = signal;
    variables["PROBE_SIGNALS"] = "OSTREL_process:1=" + signal;
    EXPECT_EQ(replayInto(output, samples({4, 5})).exitStatus, 0) << signal;
    EXPECT_THAT(lines, Contains(ran(5))) << signal;
  }
}

TEST_F(InterruptedExport, GoesOnWhenNobodyReadsTheLines) {
  replayInto(output, samples({0, 1}));
  const std::string whole = readFile(output);
  variables["PROBE_CLOSED_ERRORS"] = "1";
  EXPECT_EQ(replayInto(output, samples({0, 1})).exitStatus, 0);
  EXPECT_EQ(readFile(output), whole);
  EXPECT_EQ(readFile(settings), earlier);
}

TEST_F(InterruptedExport, GoesOnWhenTheNewLogMayNotGrow) {
  variables["PROBE_FILE_LIMIT"] = "65536";
  std::vector<int> steps(200);
  std::generate(steps.begin(), steps.end(), [step = 0]() mutable { return step++; });
  variables["LOG_LEVEL"] = "3";
  EXPECT_EQ(replayInto(output, samples(steps)).exitStatus, 0);
  EXPECT_EQ(lines.back(), "@closed events");
  EXPECT_THAT(lines, Contains("<3>ostrelReplay: Error exporting replay at index 199 : File too large"));
}

}  // namespace
