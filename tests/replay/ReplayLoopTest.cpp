#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"
#include "replay/ReplayLoop.hpp"
#include "support/LegacyLog.hpp"
#include "support/LogProbe.hpp"
#include "support/Row.hpp"
#include "support/TestFolder.hpp"

using testing::ElementsAre;

namespace {

std::vector<std::string> calls;  // of the library and the export

/// Notes a call, with the last field of the sensors that the library has at that moment.
void note(const std::string& name) {
  std::uint32_t flags = 0;
  std::memcpy(&flags, Dravon3::data_manager()->sensors + 1880, sizeof(flags));
  calls.push_back(name + " " + std::to_string(flags));
}

struct Input : Api::InputBase {
  using InputBase::InputBase;
  void registerArgs(DataRegistry&) override {}
  int apply() override { return note(name), -EPERM; }
};

/// An event log that gives this result and these inputs for step 1, and nothing for the others.
struct Events : LogFile::IReader {
  int open(const char*) override { return 0; }
  int close() override { return 0; }
  int popSample() override { return -ENOSYS; }
  int popSample(int index, std::vector<int>& inputs) override {
    if (index == 1) inputs = listed;
    return index == 1 ? result : -EAGAIN;
  }
  int result = 0;
  std::vector<int> listed;
};

/// An export that is off.
struct Export : LogFile::IExport {
  int open(const char*) override { return 0; }
  int close() override { return 0; }
  int step() override { return note("export"), -ENOENT; }
};

/// Three samples, of the steps 0 to 2 with the flags 100 to 102.
class ReplayLoopTest : public testing::Test {
 protected:
  ReplayLoopTest() {
    env.events->reader.reset(events);
    env.events->inputs = {&land, &move};
    calls.clear();
    takeLogLines();
  }

  TestFolder folder;
  const std::string samples =
      continuousHeader({"index", "inputs.sensors.flags"}) + values({0, 100, 1, 101, 2, 102});
  OstrelEnv env{"board", "default", folder.write("cont", samples),
                folder.write("events", eventHeader("land", "0", "none"))};
  Events* const events = new Events;  // the environment's
  Input land{"land"}, move{"move"};
  Export exporter;
};

TEST_F(ReplayLoopTest, MakesTheCallsOfAStepBeforeTheLibraryHasItsSensors) {
  events->result = 3;
  events->listed = {1, 0, 1};
  ReplayLoop loop(env, &exporter);
  EXPECT_EQ(loop.run(), 0);
  EXPECT_EQ(loop.lastStep(), 2);
  EXPECT_THAT(calls, ElementsAre("process 100", "export 100", "move 100", "land 100", "move 100",
                                 "process 101", "export 101", "process 102", "export 102"));
}

TEST_F(ReplayLoopTest, TellsOnlyItsEndWhenTheExportIsOff) {
  ReplayLoop(env, &exporter).run();
  EXPECT_THAT(takeLogLines(), ElementsAre("<6>Reached end of replay"));
}

struct EventRead : Row {
  int result;
  std::vector<int> listed;
  std::vector<std::string> made, lines;
};
class ReadOfEvents : public ReplayLoopTest, public testing::WithParamInterface<EventRead> {};

TEST_P(ReadOfEvents, NeverStopsTheReplay) {
  events->result = GetParam().result;
  events->listed = GetParam().listed;
  ReplayLoop(env, nullptr).run();
  std::vector<std::string> expected = {"process 100", "process 101", "process 102"};
  expected.insert(expected.begin() + 1, GetParam().made.begin(), GetParam().made.end());
  EXPECT_EQ(calls, expected);
  EXPECT_EQ(takeLogLines(4), GetParam().lines);
}

const std::string FAILED = "<4>Error on replay event read during step 1 : ";
const EventRead EVENT_READS[] = {
    {"NothingDue", -EAGAIN, {1}, {}, {}},
    {"Zero", 0, {1}, {}, {}},
    {"End", -ENODATA, {}, {}, {}},
    {"EndThatLosesCalls", -ENODATA, {1}, {}, {FAILED + "No data available"}},
    {"NoEvents", -ENOSYS, {1}, {}, {FAILED + "Function not implemented"}},
    {"Outside",
     3,
     {2, 1, -1},
     {"move 100"},
     {"<4>No API input number 2, call skipped during step 1",
      "<4>No API input number -1, call skipped during step 1"}},
};
INSTANTIATE_ROWS(ReadOfEvents, EVENT_READS);

}  // namespace

int OSTREL_process(void) {
  note("process");
  return -ENODEV;  // which nobody looks at
}
