#include <filesystem>

#include "LogTool.hpp"

namespace {

class MakeTest : public LogTool {
 protected:
  std::string log(const std::string& name) const { return readFile(folder.path(name)); }
  std::string headerOf(const std::string& name) const {
    return log(name).substr(0, log(name).find("-- Data\n") + 8);
  }
};

TEST_F(MakeTest, WritesTheHeaderOfTheContinuousLog) {
  run("make f --seconds 10 --rate 10 --seed 3 --variant hexa-y");
  const std::string header = headerOf("f.cont");
  EXPECT_EQ(header.substr(0, header.find(".baro")),
            "simulated flight, 100 steps, seed 3\n-- Build infos\ntool : ostrelLog\n-- Navdata infos\n"
            "type : continuous\nnentries : 139\ntitles : index, inputs.sensors");
  EXPECT_EQ(header.substr(header.rfind(", ")),
            ", inputs.sensors.vcam_position.ts.tv_sec\nrate : 10\nro.hardware : hexa-y\n-- Data\n");
}

TEST_F(MakeTest, WritesTheHeaderOfTheEventLog) {
  run("make f --seconds 10 --rate 10 --seed 3 --variant hexa-y");
  EXPECT_EQ(
      headerOf("f.events"),
      "simulated flight, 100 steps, seed 3\n-- Build infos\ntool : ostrelLog\n-- Navdata infos\n"
      "type : events\n"
      "titles : emergency_cut, land, set_follow_me, set_home, set_motors_armed, set_velocity, take_off\n"
      "types : void, void, TYPES_FLOAT, TYPES_FOLLOW_ME_TRAJECTORY, TYPES_DOUBLE, TYPES_DOUBLE, "
      "TYPES_DOUBLE, TYPES_BOOL, TYPES_FLOAT, TYPES_FLOAT, TYPES_FLOAT, TYPES_FLOAT, TYPES_FLOAT\n"
      "nentries : 7\n"
      "argNb : 0, 0, 2, 3, 1, 4, 1\n"
      "argList : none, none, distance, trajectory, amsl_altitude, latitude, longitude, armed, "
      "vx, vy, vz, yaw_rate, altitude\n"
      "product : hexa-y\n-- Data\n");
}

TEST_F(MakeTest, WritesTheCallsOfAFlightWithTheirArguments) {
  const double HOME = 0, ARM = 1, TAKE_OFF = 2, VELOCITY = 3, FOLLOW = 4, LAND = 5, ORBIT = 3;
  folder.write(
      "calls",
      eventHeader("set_home, set_motors_armed, take_off, set_velocity, set_follow_me, land, emergency_cut",
                  "3, 1, 1, 4, 2, 0, 0",
                  "latitude, longitude, amsl_altitude, armed, altitude, yaw_rate, vx, vy, vz, "
                  "trajectory, distance, none, none") +
          event(0, HOME, {45.0000225, 7.0000317, 242.5}) + event(3, ARM, {1}) +
          event(6, TAKE_OFF, {0.8064}) + event(22, VELOCITY, {0, 4, 0, 0}) +
          event(31, VELOCITY, {3, 0, 0, 0}) + event(36, VELOCITY, {0, 4, 0, 0}) +
          event(44, VELOCITY, {3, 0, 0, 0}) + event(44, FOLLOW, {ORBIT, 6}) + event(49, FOLLOW, {0, 0}) +
          event(49, VELOCITY, {0, 4, 0, 0}) + event(58, VELOCITY, {3, 0, 0, 0}) +
          event(58, HOME, {45.0000072, 7.0000101, 240.8}) + event(63, VELOCITY, {0, 4, 0, 0}) +
          event(71, VELOCITY, {3, 0, 0, 0}) + event(76, VELOCITY, {0, 0, 0, 0}) + event(76, LAND) +
          event(98, ARM, {0}) + event(100, HOME, {45, 7, 240}));
  folder.write("f.events", std::string(10'000, 'x'));  // of which nothing stays
  run("make f --seconds 10 --rate 10");
  expectRun("diff f.events calls --tolerance 1e-7", {0, "same: 18 calls, 11 arguments\n", ""});
}

TEST_F(MakeTest, IsReplayedIntoOutputsOfTheFlight) {
  run("make f --seconds 20 --rate 50");
  folder.makeDirectory("root/etc/ostrel");
  const ProgramResult replay = runProgram(
      "/usr/bin/env",
      {"-C", folder.path(""), OSTREL_REPLAY, "-i", "f.cont", "-e", "f.events", "-g", "replay"},
      {{"OSTREL_ROOT_DIR", "root"}, {"LOG_LEVEL", "4"}, {"KVS_FILE", ""}, {"TLMB_SECTION_NAME", ""}});
  EXPECT_EQ(replay.err, "<3>ostrelReplay: droneVariant found in Data file : quad-x\n");
  BlackboxBuilder zeros;
  zeros.addSection(0, "zeros",
                   {{"index", TLM_VAR_INT32, 1, 4},
                    {"outputs.vertical_position", TLM_VAR_INT8, 1, 1},
                    {"outputs.vertical_speed", TLM_VAR_INT8, 1, 1}});
  for (int index = 0; index < 1000; ++index) zeros.sample(0, 0, 0, packed(index, '\0', '\0'));
  folder.write("zeros", zeros.end().bytes);
  expectRun("diff replay zeros --only outputs.vertical*",
            {1,
             "different\n  A: replay, 1000 steps\n  B: zeros, 1000 steps\n"
             "  first: index 0, outputs.vertical_position: 0.007958635 in A, 0 in B\n"
             "      steps  largest       from index  difference in\n"
             "       1000  3.51826                0  outputs.vertical_position\n"
             "       1000  2.7329                 0  outputs.vertical_speed\n",
             ""});
}

struct FlightRow : Row {
  std::string options;
  int steps;
  unsigned long checksum;  ///< of the samples' log and the calls' log, one behind the other
};

class MadeFlight : public MakeTest, public testing::WithParamInterface<FlightRow> {};

// What the compiler, its options or the machine might change shows here. A change of the simulation itself
// changes the numbers too.
TEST_P(MadeFlight, HasTheSameBytesOnEveryMachine) {
  const std::string steps = std::to_string(GetParam().steps);
  expectRun("make f " + GetParam().options,
            {0, "f.cont: " + steps + " samples of 139 columns, f.events: 18 calls\n", ""});
  const std::string bytes = log("f.cont") + log("f.events");
  EXPECT_EQ(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()), GetParam().checksum);
}

const FlightRow FLIGHTS[] = {
    {"OfTheDefaults", "", 6000, 3092188850},
    {"OfAnEmptyBattery", "--seconds 2000 --rate 1", 2000, 2046669097},
    {"OfTwoInertialSamplesAStep", "--seconds 10 --rate 500", 5000, 1641688279},
    {"OfOneInertialSampleAStep", "--seconds 10 --rate 501 --seed 18446744073709551615", 5010, 2936338030},
    {"OfLessThanAStep", "--seconds 0.01 --rate 1", 1, 1513266920},
    {"OfStepsRoundedDown", "--seconds 0.249 --rate 10", 2, 4037031876},
    {"OfStepsRoundedUp", "--seconds 0.25 --rate 10", 3, 1675003474},
};
INSTANTIATE_ROWS(MadeFlight, FLIGHTS);

struct ObstacleRow : Row {
  std::string file, target;  ///< a link, and where it leads to
  std::string options, reason;
};

class MakeFailure : public MakeTest, public testing::WithParamInterface<ObstacleRow> {};

TEST_P(MakeFailure, IsReportedAndLeavesNothingNew) {
  const ObstacleRow& row = GetParam();
  std::filesystem::create_symlink(row.target, folder.path(row.file));
  expectRun("make f " + row.options, {1, "", "ostrelLog: " + row.file + ": " + row.reason + "\n"});
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 1);
}

const std::string FULL = "No space left on device";
const ObstacleRow OBSTACLES[] = {
    {"FullDiskOfSamples", "f.cont", "/dev/full", "--seconds 360000 --rate 1", FULL},
    {"FullDiskAtTheEndOfSamples", "f.cont", "/dev/full", "--seconds 0.1", FULL},
    {"FullDiskOfCalls", "f.events", "/dev/full", "--seconds 0.1", FULL},
    {"Directory", "f.events", "/", "", "Is a directory"},
    {"NoDirectory", "f.cont", "nowhere/at/all", "", "No such file or directory"},
};
INSTANTIATE_ROWS(MakeFailure, OBSTACLES);

}  // namespace
