#include <cmath>
#include <numeric>
#include <regex>

#include "replay/ReplayFixture.hpp"

using testing::ElementsAre;

namespace {

/// A replay that loses something, and all its errors and warnings but that of the variant.
struct Loss : Row {
  std::string continuous, events;
  Lines lines;
};
class Losses : public ReplayFixture, public testing::WithParamInterface<Loss> {};

TEST_P(Losses, AreToldAndTheReplayRunsToItsEnd) {
  EXPECT_EQ(replay(GetParam().continuous, GetParam().events).exitStatus, 0);
  EXPECT_EQ(linesLike("<3>[^U]|<4>[^1]"), GetParam().lines);
}

const std::string COLUMNS_ONLY = samples({});
const std::string SAMPLES = samples({0, 1, 2});
std::string cutAt(std::size_t byte) {
  return "<4>Continuous file cont ends at byte " + std::to_string(byte) +
         " : the record there is damaged or cut short";
}
std::string notMade(const std::string& calls, int first) {
  return "<4>Event file events : " + calls + " calls were not made, the first one of step " +
         std::to_string(first);
}
const std::string CALL = event(2, LAND), LATE = event(4, LAND), GONE = event(5, 3);
// Without the line feed that ends its header, the records up to the next byte like it belong to the header.
const std::string GLUED = APIS.substr(0, APIS.size() - 1) + "\v";
const std::string NO_END = "-- Build infos\nnentries : 1\ntitles : index\n-- Dat\n";
const Loss LOSSES[] = {
    {"Nothing", SAMPLES, APIS + CALL + event(3, LAND), {}},
    {"LastByteOfASample", SAMPLES.substr(0, SAMPLES.size() - 1), APIS, {cutAt(samples({0, 1}).size())}},
    {"AllButTheFirstByteOfASample", COLUMNS_ONLY + "x", APIS, {cutAt(COLUMNS_ONLY.size())}},
    {"AllSamplesForWantOfTheHeadersEnd",
     NO_END + values({0, 1}),
     APIS,
     {"<4>File cont has no \"-- Data\" line : it holds no record"}},
    {"AllCallsForWantOfTheHeadersLastByte",
     SAMPLES,
     GLUED + CALL,
     {"<4>File events has a damaged \"-- Data\" line : the records behind it are lost or wrong"}},
    {"AllCallsForWantOfTheHeadersLineFeed",
     SAMPLES,
     APIS.substr(0, APIS.size() - 1),
     {"<4>File events has a damaged \"-- Data\" line : the records behind it are lost or wrong"}},
    {"CallsOfAnApiThatTheHeaderDoesNotName", SAMPLES, APIS + event(1, 3) + CALL + GONE, {notMade("2", 1)}},
    {"CallsBehindTheNextStep", SAMPLES, APIS + event(3, LAND) + LATE + LATE, {notMade("2", 4)}},
    {"CallsBehindADamagedStepNumber", SAMPLES, APIS + event(1e6, LAND) + CALL, {notMade("2", 1000000)}},
    {"AllCallsForWantOfSamples", COLUMNS_ONLY, APIS + event(0, LAND) + event(1, LAND), {notMade("2", 0)}},
    {"CallsInFrontOfDamage",
     SAMPLES,
     APIS + LATE + values({NAN, 5, LAND}),
     {"<4>Event file events ends at byte " + std::to_string(APIS.size() + LATE.size()) +
          " : the record there is damaged or cut short",
      notMade("1", 4)}},
};
INSTANTIATE_ROWS(Losses, LOSSES);

using Replay = ReplayFixture;

TEST_F(Replay, InterruptedDoesNotCountTheCallsThatItHasNotMade) {
  variables["usleep_1"] = "15";
  replay(SAMPLES, APIS + LATE);
  EXPECT_THAT(complaints(), ElementsAre("<4>Replay interrupted by signal 15 after step 0"));
  variables = {{"OSTREL_ROOT_DIR", folder.path("root")}, {"PRELOAD", CALL_PROBE}, {"usleep_3", "15"}};
  replay(SAMPLES, APIS + LATE);
  EXPECT_THAT(complaints(), ElementsAre());
}

TEST_F(Replay, NamesTheArgumentsThatItIgnores) {
  const std::string cont = folder.write("cont", SAMPLES), events = folder.write("events", APIS);
  EXPECT_EQ(run({"out", "-i", cont, "two words", "-e", events, "-d", "board"}).exitStatus, 0);
  EXPECT_THAT(linesLike("<4>A|<6>S"),
              ElementsAre("<4>Argument out is ignored", "<4>Argument two words is ignored",
                          "<6>Starting execution ..."));
}

TEST_F(Replay, LeavesTheSettingsFileAloneWhenItIsToBeTheNewLog) {
  const ProgramResult result = replayInto(settings, SAMPLES);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.err, testing::HasSubstr(" would overwrite the settings file, nothing is written"));
  EXPECT_EQ(readFile(settings), earlier);
}

TEST_F(Replay, TellsTheLastIndexThatAnIncompleteLogHolds) {
  std::vector<int> indices(100);
  std::iota(indices.begin(), indices.end(), 0);
  replayInto(output, samples(indices), "ulimit -f 120");  // of 512 bytes: less than is written at once
  std::smatch index;
  const Lines told = linesLike("<3>.*whole up to");
  ASSERT_EQ(told.size(), 1U);
  const std::string last = told.front();
  ASSERT_TRUE(std::regex_match(last, index, std::regex("<3>.*New log out is whole up to index (\\d+)")))
      << last;
  const std::string info = runProgram(OSTREL_LOG, {"info", output}).out;
  EXPECT_THAT(info, testing::HasSubstr("index      0 to " + index[1].str() + ", no gaps"));
}

}  // namespace
