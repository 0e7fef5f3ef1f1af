#include <gmock/gmock.h>

#include <cerrno>

#include "replay/ReplayLoop.hpp"
#include "support/LegacyLog.hpp"
#include "support/LogProbe.hpp"
#include "support/TestFolder.hpp"

using testing::ElementsAre;

namespace {

struct Input : Api::InputBase {
  using InputBase::InputBase;
  void registerArgs(DataRegistry&) override {}
  int apply() override { return ++calls, -EPERM; }
  int calls = 0;
};

/// An event log that gives this result and these inputs for step 1, and nothing for the others.
struct Events : LogFile::IReader {
  Events(int given, const std::vector<int>& inputs) : result(given), listed(inputs) {}
  int open(const char*) override { return 0; }
  int close() override { return 0; }
  int popSample() override { return -ENOSYS; }
  int popSample(int index, std::vector<int>& inputs) override {
    if (index == 1) inputs = listed;
    return index == 1 ? result : -EAGAIN;
  }
  const int result;
  const std::vector<int> listed;
};

/// Replays the steps 0 to 2.
class ReplayLoopTest : public testing::Test {
 protected:
  /// The warnings and errors of a replay with what the event log has for step 1.
  std::vector<std::string> linesWith(int result, const std::vector<int>& inputs) {
    env.events->reader = std::make_unique<Events>(result, inputs);
    env.events->inputs = {&input, &input};
    takeLogLines();
    ReplayLoop loop(env, nullptr, Pace::SLEEP);
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(loop.lastStep(), 2);
    return takeLogLines(4);
  }

  TestFolder folder;
  OstrelEnv env{"board", "default", folder.write("cont", continuousHeader({"index"}) + values({0, 1, 2})),
                folder.write("events", eventHeader("land", "0", "none"))};
  Input input{"input"};
};

TEST_F(ReplayLoopTest, ReadOfEventsThatFailsIsReported) {
  EXPECT_THAT(linesWith(-ENOSYS, {1}),
              ElementsAre("<4>Error on replay event read during step 1 : Function not implemented"));
  EXPECT_EQ(input.calls, 0);
}

TEST_F(ReplayLoopTest, InputsOutOfRangeAreSkipped) {
  EXPECT_THAT(linesWith(3, {2, 1, -1}),
              ElementsAre("<4>No API input number 2, call skipped during step 1",
                          "<4>No API input number -1, call skipped during step 1"));
  EXPECT_EQ(input.calls, 1);
}

}  // namespace
