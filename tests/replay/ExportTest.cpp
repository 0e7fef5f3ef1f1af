#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "replay/ReplayFixture.hpp"

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

namespace {

using Export = ReplayFixture;

TEST_F(Export, RecordsTheOutputsOfEachStepByName) {
  const std::string continuous = continuousHeader({"index", "inputs.sensors.baro.pressure"});
  const std::string apis = eventHeader(
      "set_motors_armed, take_off, set_velocity, set_home, set_follow_me", "1, 1, 4, 3, 2",
      "armed, altitude, vx, vy, vz, yaw_rate, amsl_altitude, latitude, longitude, distance, trajectory");
  // 12 pascals are one metre; the estimate begins to follow.
  replay(continuous + values({0, 100000, 1, 100000 - 12}),
         apis + event(0, 0, {1}) + event(0, 1, {12}) + event(1, 2, {1, 2, 3, 0.5}) +
             event(1, 3, {150, 45, 7}) + event(1, 4, {8, 1}) + event(9, 0, {0}),
         {"-d", "board", "-g", output});
  const std::string names =
      "index, outputs.armed, outputs.attitude[0], outputs.attitude[1], outputs.attitude[2], "
      "outputs.attitude[3], outputs.call_count, outputs.state, outputs.step_count, "
      "outputs.take_off_altitude, outputs.follow_distance, outputs.follow_trajectory, outputs.home[0], "
      "outputs.home[1], outputs.home[2], outputs.velocity_setpoint[0], outputs.velocity_setpoint[1], "
      "outputs.velocity_setpoint[2], outputs.yaw_rate_setpoint, outputs.vertical_position, "
      "outputs.vertical_speed";
  const std::string expected =
      header("nentries : 21\ntitles : " + names + "\n") +
      values({0, 1, 1, 0, 0, 0, 2, 1, 1, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}) +
      values({1, 1, 1, 0, 0, 0, 5, 1, 2, 12, 8, 1, 150, 45, 7, 1, 2, 3, 0.5, 0.01, 0.005});
  const Lines compare = {"diff", folder.write("expected", expected), output, "--only", "outputs.*"};
  EXPECT_EQ(runProgram(OSTREL_LOG, compare).out,
            "same: 2 steps, 20 variables, section navdata-replay in B\n");
}

TEST_F(Export, ReplacesAnOlderLogOfAnyLength) {
  replayInto(output, samples({0, 1}));
  const std::string fresh = readFile(output);
  for (const std::string& older : {fresh.substr(0, 10), fresh, fresh + fresh}) {
    folder.write("out", older);
    replayInto(output, samples({0, 1}));
    EXPECT_EQ(readFile(output), fresh) << "over a log of " << older.size() << " bytes";
  }
}

TEST_F(Export, NeverOverwritesAnInput) {
  folder.write("cont", "");
  folder.write("events", "");
  std::filesystem::create_symlink(folder.path("cont"), folder.path("symlink"));
  std::filesystem::create_hard_link(folder.path("events"), folder.path("hardlink"));
  for (const char* name : {"cont", "./cont", "events", "symlink", "hardlink"}) {
    EXPECT_EQ(replayInto(folder.path(name), samples({0, 1})).exitStatus, 0);
    EXPECT_THAT(complaints(), ElementsAre("<3>Output " + std::string(name) +
                                          " is an input of this replay, nothing is exported"));
    EXPECT_EQ(readFile(folder.path("cont")), samples({0, 1}));
    EXPECT_EQ(readFile(folder.path("events")), APIS + event(1, ARM, {1}) + event(9, LAND));
  }
}

TEST_F(Export, ThatCanNotBeWrittenIsReportedForEachStep) {
  const std::map<std::string, std::string> reasons = {
      {folder.path("missing/out"), "Not a directory"},
      {folder.makeDirectory("directory/"), "Is a directory"},
      {"/dev/full", "No space left on device"}};
  const std::string line = "<3>Error exporting replay at index ";
  for (const auto& [target, reason] : reasons) {
    EXPECT_EQ(replayInto(target, samples({3, 4})).exitStatus, 0);
    EXPECT_THAT(complaints(), ElementsAre(AllOf(StartsWith("<3>No new log "), EndsWith(" : " + reason)),
                                          line + "3 : " + reason, line + "4 : " + reason));
  }
}

TEST_F(Export, IsRefusedUnderAnEmptyName) {
  replayInto("", samples({0}));
  EXPECT_THAT(complaints(), ElementsAre("<3>No new log : its name is empty"));
}

TEST_F(Export, IsRefusedUnderAPathThatIsTooLong) {
  const std::string target = std::string(5000, 'd') + "/out", line = "<3>Error exporting replay at index ";
  EXPECT_EQ(replayInto(target, samples({0, 1})).exitStatus, 0);
  EXPECT_EQ(complaints(),
            (Lines{"<4>Could not set : Message too long", "<3>No new log " + target + " : Invalid argument",
                   line + "0 : Invalid argument", line + "1 : Invalid argument"}));
}

TEST_F(Export, LeavesALogAloneThatAnotherReplayIsWriting) {
  const int writer = ::open(folder.write("out", "the other's").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(writer, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(replayInto(output, samples({3})).exitStatus, 0);
  ::close(writer);
  EXPECT_THAT(complaints(), ElementsAre("<3>No new log out : Device or resource busy",
                                        "<3>Error exporting replay at index 3 : Device or resource busy"));
  EXPECT_EQ(readFile(output), "the other's");
}

TEST_F(Export, ThatCanNotBeWrittenIsReportedEvenWithoutAStep) {
  EXPECT_EQ(replayInto(folder.path("missing/out"), COLUMNS).exitStatus, 0);
  EXPECT_THAT(linesLike("<3>[^U]"),
              ElementsAre("<3>blackboxlog: No new log missing/out : Not a directory"));
}

TEST_F(Export, IsLeftOutWithALineWithoutTheSettingsService) {
  variables["KVS_FILE"] = folder.makeDirectory("directory");
  EXPECT_EQ(replayInto(output, samples({0, 1})).exitStatus, 0);
  EXPECT_THAT(
      linesLike("<4>C|<3>[EN]|@ostrel|@set|@kvs|@evl"),
      ElementsAre("<4>Could not create KVS context", "@ostrel_log_tlmb_init navdata-replay 360000 500",
                  "<3>No new log out : there is no settings service", "@ostrel_log_tlmb_put 0",
                  "@ostrel_log_tlmb_put 1", "@ostrel_log_tlmb_cleanup", "@evl_loop_destroy"));
}

TEST_F(Export, IsTheSameWhenTheSettingsServiceIsSilentWhichCostsSixSecondsAtMost) {
  replayInto(output, samples({0, 1}));
  const std::string usual = readFile(output);
  for (int wait = 1; wait <= 12; ++wait) variables["wait_" + std::to_string(wait)] = "silent";
  EXPECT_EQ(replayInto(output, samples({0, 1})).exitStatus, 0);
  EXPECT_EQ(readFile(output), usual);
  EXPECT_EQ(readFile(settings), earlier);
  EXPECT_EQ(complaints(), Lines(12, "<4>No answer from the settings service : Connection timed out"));
  int milliseconds = 0;
  for (const std::string& line : linesLike("@silent ")) milliseconds += std::stoi(line.substr(8));
  EXPECT_THAT(milliseconds, testing::AllOf(testing::Gt(4500), testing::Le(6000)));
}

TEST_F(Export, WaitsLongAgainForASettingsServiceThatHasAnsweredSince) {
  for (const char* wait : {"wait_1", "wait_3"}) variables[wait] = "silent";
  replayInto(output, samples({0, 1}));
  EXPECT_EQ(linesLike("@silent (4...|5000)").size(), 2U);
}

}  // namespace
