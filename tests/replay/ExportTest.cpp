#include <sys/stat.h>

#include <numeric>

#include "replay/ReplayFixture.hpp"
#include "support/BlackboxRecords.hpp"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Export = ExportFixture;

TEST_F(Export, MakesItsCallsInOrderFromSetUpToTearDown) {
  const std::string logdir = output.substr(0, output.rfind('/'));
  replayInto(output, samples({0, 1}));
  Lines calls = linesLike({"@OSTREL", "@ostrel", "@kvs", "@evl", "@wait", "@Api::~Input", "@closed", END});
  // The settings go back in no particular order.
  const auto cleanup = std::find(calls.begin(), calls.end(), "@ostrel_log_tlmb_cleanup");
  ASSERT_GE(calls.end() - cleanup, 11);
  for (int i = 1; i <= 5; ++i) EXPECT_EQ(cleanup[i + i], "@wait");
  std::sort(cleanup + 1, cleanup + 11);
  EXPECT_THAT(
      calls,
      ElementsAre(
          "@OSTREL_new board default", "@evl_loop_new", "@kvs_ctx_new_client", "@kvs_ctx_evl_loop_register",
          "@ostrel_log_tlmb_init navdata-replay 360000 500", "@kvs_ctx_start", "@wait",  //
          "@kvs_ctx_set_bool enabled=false", "@wait",                                    //
          "@kvs_ctx_set_int flushperiod=1", "@wait",                                     //
          "@kvs_ctx_set_string filter=navdata-replay;ostrellite", "@wait",
          "@kvs_ctx_set_string logname=out", "@wait",                                                  //
          "@kvs_ctx_set_string logdir=" + logdir, "@wait", "@kvs_ctx_set_bool enabled=true", "@wait",  //
          "@OSTREL_process image=0..100", "@ostrel_log_tlmb_put", "@OSTREL_process image=1..101",
          "@ostrel_log_tlmb_put", END,  //
          "@ostrel_log_tlmb_cleanup",   //
          "@kvs_ctx_set enabled=true", "@kvs_ctx_set filter=none", "@kvs_ctx_set flushperiod=none",
          "@kvs_ctx_set logdir=none", "@kvs_ctx_set logname=kept",  //
          "@wait", "@wait", "@wait", "@wait", "@wait",              //
          "@kvs_ctx_stop", "@kvs_ctx_evl_loop_unregister", "@kvs_ctx_destroy", "@evl_loop_destroy",
          "@OSTREL_delete", "@Api::~Input", "@closed cont", "@closed events"));
}

TEST_F(Export, RecordsTheOutputsOfEachStepByName) {
  const std::string continuous = continuousHeader({"index", "inputs.sensors.baro.pressure"});
  const std::string apis = eventHeader(
      "set_motors_armed, take_off, set_velocity, set_home, set_follow_me", "1, 1, 4, 3, 2",
      "armed, altitude, vx, vy, vz, yaw_rate, amsl_altitude, latitude, longitude, distance, trajectory");
  replay(continuous + values({0, 100000, 1,
                              100000 - 12}),  // 12 pascals are one metre; the estimate begins to follow
         apis + event(0, 0, {1}) + event(0, 1, {12}) + event(1, 2, {1, 2, 3, 0.5}) +
             event(1, 3, {150, 45, 7}) + event(1, 4, {8, 1}) + event(9, 0, {0}),
         {"-d", "board", "-g", output});
  const auto records = BlackboxRecords(output).records;
  ASSERT_EQ(records.size(), 2U);
  std::ostringstream outputs;
  for (const auto& [name, value] : records[1].values) {
    if (name.rfind("outputs.", 0) == 0) outputs << name.substr(8) << "=" << value << " ";
  }
  EXPECT_EQ(outputs.str(),
            "armed=1 attitude[0]=1 attitude[1]=0 attitude[2]=0 attitude[3]=0 call_count=5 "
            "follow_distance=8 follow_trajectory=1 home[0]=150 home[1]=45 home[2]=7 state=1 step_count=2 "
            "take_off_altitude=12 velocity_setpoint[0]=1 velocity_setpoint[1]=2 velocity_setpoint[2]=3 "
            "vertical_position=0.01 vertical_speed=0.005 yaw_rate_setpoint=0.5 ");
}

TEST_F(Export, RecordsTheSensorsOfEachStepByName) {
  replayInto(output, samples({0, 1, 2}));
  std::vector<std::vector<double>> sensors;
  for (const auto& record : BlackboxRecords(output).records) {
    sensors.push_back({record.values.at("index"), record.values.at("inputs.sensors.imu.gyro[0].x"),
                       record.values.at("inputs.sensors.flags")});
  }
  EXPECT_THAT(sensors, ElementsAre(ElementsAre(0, 0, 100), ElementsAre(1, 1, 101), ElementsAre(2, 2, 102)));
}

TEST_F(Export, StampsEachStepWithItsFirstInertialTimestamp) {
  const std::string stamp = "inputs.sensors.imu.timestamp[0].";
  const std::string other = "inputs.sensors.imu.timestamp[1].";
  replayInto(output, continuousHeader({"index", stamp + "tv_sec", stamp + "tv_nsec", other + "tv_sec"}) +
                         values({0, 5, 600, 7, 1, 6, 700, 8}));
  const auto records = BlackboxRecords(output).records;
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[1].time.tv_sec, 6);
  EXPECT_EQ(records[1].time.tv_nsec, 700);
}

TEST_F(Export, ReplaysToTheSameBytes) {
  replayInto(output, samples({0, 1, 2, 3}));
  variables["TLMB_SECTION_NAME"] = "navdata-replay";
  run({"-i", output, "-e", folder.path("events"), "-d", "board", "-g", folder.path("second")});
  EXPECT_THAT(linesLike({"<4>", "<6>ostrelReplay: R"}), ElementsAre(END, ran(3)));
  EXPECT_EQ(readFile(output), readFile(folder.path("second")));
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

TEST_F(Export, LeavesALogWithoutASampleWhenNoStepRan) {
  folder.write("out", "yesterday");
  replayInto(output, samples({}));
  EXPECT_EQ(readFile(output).substr(0, 4), "TLMB");
  EXPECT_THAT(BlackboxRecords(output).records, IsEmpty());
}

TEST_F(Export, NeverOverwritesAnInput) {
  folder.write("cont", "");
  folder.write("events", "");
  std::filesystem::create_symlink(folder.path("cont"), folder.path("symlink"));
  std::filesystem::create_hard_link(folder.path("events"), folder.path("hardlink"));
  for (const char* name : {"cont", "./cont", "events", "symlink", "hardlink"}) {
    EXPECT_EQ(replayInto(folder.path(name), samples({0, 1})).exitStatus, 0);
    EXPECT_THAT(complaints(), ElementsAre("<3>ostrelReplay: Output " + folder.path(name) +
                                          " is an input of this replay, nothing is exported"));
    EXPECT_THAT(lines, Contains(ran(1)));
    EXPECT_EQ(readFile(folder.path("cont")), samples({0, 1}));
    EXPECT_EQ(readFile(folder.path("events")), APIS + event(1, ARM, {1}) + event(9, LAND));
  }
}

struct Unwritable : Row {
  const char *output, *reason;
};
class UnwritableOutput : public ExportFixture, public testing::WithParamInterface<Unwritable> {};

TEST_P(UnwritableOutput, IsReportedForEachStep) {
  folder.write("file", "");
  folder.makeDirectory("directory");
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  const std::string given = GetParam().output;
  EXPECT_EQ(replayInto(given[0] == '/' ? given : folder.path(given), samples({3, 4})).exitStatus, 0);
  const std::string line = "<3>ostrelReplay: Error exporting replay at index ", reason = GetParam().reason;
  EXPECT_THAT(complaints(), ElementsAre(line + "3 : " + reason, line + "4 : " + reason));
  EXPECT_THAT(linesLike({"<6>ostrelReplay: R"}), ElementsAre(END, ran(4)));
  EXPECT_EQ(readFile(settings), earlier);
}

const Unwritable UNWRITABLE[] = {
    {"FolderMissing", "missing/out", "Not a directory"}, {"FolderIsAFile", "file/out", "Not a directory"},
    {"IsAFolder", "directory/", "Is a directory"},       {"IsFull", "/dev/full", "No space left on device"},
    {"IsAPipe", "pipe", "No such device or address"},
};
INSTANTIATE_ROWS(UnwritableOutput, UNWRITABLE);

TEST_F(Export, WritesNoOtherLogWhenItsNameCanNotBeSet) {
  folder.write("kept", "earlier");
  folder.write("settings/file",
               "s tlm-blackbox.logdir " + folder.path("") + "\ns tlm-blackbox.logname kept\n");
  replayInto(folder.path(std::string(5000, 'x')), samples({0, 1}));
  EXPECT_THAT(complaints(), Contains("<4>ostrelReplay: Could not set : Message too long"));
  EXPECT_EQ(readFile(folder.path("kept")), "earlier");
}

TEST_F(Export, IsSilentlyLeftOutWithoutTheSettingsService) {
  variables["KVS_FILE"] = folder.makeDirectory("directory");
  EXPECT_EQ(replayInto(output, samples({0, 1})).exitStatus, 0);
  EXPECT_THAT(
      linesLike({"<4>", "<3>ostrelReplay: E", "@ostrel", "<6>ostrelReplay: R", "@evl_loop_d", "@OSTREL_d"}),
      ElementsAre("<4>ostrelReplay: Could not create KVS context",
                  "@ostrel_log_tlmb_init navdata-replay 360000 500", "@ostrel_log_tlmb_put",
                  "@ostrel_log_tlmb_put", END, ran(1), "@ostrel_log_tlmb_cleanup", "@evl_loop_destroy",
                  "@OSTREL_delete"));
}

/// The settings service leaves waits unanswered.
class SilentSettings : public ExportFixture {
 protected:
  /// Replays into `output` while the waits are answered as told, and returns the time-outs asked for.
  std::vector<int> timeouts(const std::string& answers) {
    variables["PROBE_WAITS"] = answers;
    EXPECT_EQ(replayInto(output, samples({0, 1})).exitStatus, 0);
    std::vector<int> milliseconds;
    for (const std::string& wait : linesLike({"@wait "})) {
      milliseconds.push_back(std::stoi(wait.substr(6)));
    }
    return milliseconds;
  }

  const std::string none =
      "silent,silent,silent,silent,silent,silent,silent,silent,silent,silent,silent,silent";
  const std::string line = "<4>ostrelReplay: No answer from the settings service : Connection timed out";
};

TEST_F(SilentSettings, AreReportedOncePerRequest) {
  timeouts(none);
  EXPECT_EQ(complaints(), Lines(12, line));
}

TEST_F(SilentSettings, AreWaitedForFiveSecondsAtFirst) {
  const std::vector<int> asked = timeouts(none);
  ASSERT_EQ(asked.size(), 12U);
  EXPECT_THAT(asked.front(), AllOf(testing::Gt(4000), testing::Le(5000)));
  EXPECT_THAT(asked, Each(testing::Le(5000)));
}

TEST_F(SilentSettings, DelayAReplayBySixSecondsAtMost) {
  const std::vector<int> asked = timeouts(none);
  EXPECT_LE(std::accumulate(asked.begin(), asked.end(), 0), 6000);
}

TEST_F(SilentSettings, AreWaitedForAgainOnceTheyHaveAnswered) {
  const std::vector<int> asked = timeouts("silent,silent,answered,silent,silent");
  constexpr int longest = 4000, shortest = 1000;
  EXPECT_THAT(asked, ElementsAre(testing::Gt(longest), testing::Lt(shortest), testing::Lt(shortest),
                                 testing::Gt(longest), testing::Lt(shortest)));
}

TEST_F(SilentSettings, ChangeNothingInTheNewLog) {
  replayInto(output, samples({0, 1}));
  const std::string usual = readFile(output);
  timeouts(none);
  EXPECT_EQ(readFile(output), usual);
  EXPECT_EQ(readFile(settings), earlier);
}

TEST_F(SilentSettings, AreNotReportedForWaitsThatAreAnswered) {
  timeouts("answered,silent,answered");
  EXPECT_THAT(complaints(), ElementsAre(line));
}

}  // namespace
