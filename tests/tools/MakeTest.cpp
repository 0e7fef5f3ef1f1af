#include <csignal>
#include <filesystem>

#include "LogTool.hpp"

namespace {

class MakeTest : public LogTool {
 protected:
  std::string log(const std::string& name) const { return readFile(folder.path(name)); }
};

TEST_F(MakeTest, WritesTheHeaderOfTheEventLog) {
  run("make f --seconds 10 --rate 10 --seed 3 --variant hexa-y");
  const std::string events = log("f.events");
  EXPECT_EQ(
      events.substr(0, events.find("-- Data\n")),
      "simulated flight, 100 steps, seed 3\n-- Build infos\ntool : ostrelLog\n-- Navdata infos\n"
      "type : events\n"
      "titles : emergency_cut, land, set_follow_me, set_home, set_motors_armed, set_velocity, take_off\n"
      "types : void, void, TYPES_FLOAT, TYPES_FOLLOW_ME_TRAJECTORY, TYPES_DOUBLE, TYPES_DOUBLE, "
      "TYPES_DOUBLE, TYPES_BOOL, TYPES_FLOAT, TYPES_FLOAT, TYPES_FLOAT, TYPES_FLOAT, TYPES_FLOAT\n"
      "nentries : 7\nargNb : 0, 0, 2, 3, 1, 4, 1\n"
      "argList : none, none, distance, trajectory, amsl_altitude, latitude, longitude, armed, "
      "vx, vy, vz, yaw_rate, altitude\n"
      "product : hexa-y\n");
}

TEST_F(MakeTest, ReadsNumbersWithLeadingZerosAsDecimal) {
  run("make f --seconds 10 --rate 10 --seed 10");
  run("make zeros --seconds 010 --rate 010 --seed 010");
  EXPECT_NE(log("f.cont"), "");
  EXPECT_EQ(log("zeros.cont"), log("f.cont"));
}

TEST_F(MakeTest, IsReplayedIntoOutputsOfTheFlight) {
  run("make f --seconds 20 --rate 50");
  folder.makeDirectory("root/etc/ostrel");
  runProgram("/usr/bin/env",
             {"-C", folder.path(""), OSTREL_REPLAY, "-i", "f.cont", "-e", "f.events", "-g", "replay"},
             {{"OSTREL_ROOT_DIR", "root"}, {"KVS_FILE", ""}, {"TLMB_SECTION_NAME", ""}});
  std::string zeros = continuousHeader({"index", "outputs.vertical_position", "outputs.vertical_speed"});
  for (int index = 0; index < 1000; ++index) zeros += values({static_cast<double>(index), 0, 0});
  folder.write("zeros", zeros);
  expectRun("diff replay zeros --only outputs.vertical*",
            {1,
             "different\n  A: replay, 1000 steps\n  B: zeros, 1000 steps\n"
             "  section: navdata-replay in A\n"
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
  folder.write("f.events", std::string(10'000, 'x'));  // of which nothing stays
  const std::string steps = std::to_string(GetParam().steps);
  const std::string noun = GetParam().steps == 1 ? " sample" : " samples";
  expectRun("make f " + GetParam().options,
            {0, "f.cont: " + steps + noun + " of 139 columns, f.events: 18 calls\n", ""});
  const std::string bytes = log("f.cont") + log("f.events");
  EXPECT_EQ(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()), GetParam().checksum);
}

const FlightRow FLIGHTS[] = {
    {"OfTheDefaults", "", 6000, 3092188850},
    {"OfAnEmptyBattery", "--seconds 2000 --rate 1", 2000, 2046669097},
    {"OfTwoInertialSamplesAStep", "--seconds 10 --rate 500 --variant hexa-y", 5000, 1529253807},
    {"OfOneInertialSampleAStep", "--seconds 10 --rate 501 --seed 18446744073709551615", 5010, 2936338030},
    {"OfLessThanAStep", "--seconds 0.01 --rate 1", 1, 1513266920},
    {"OfStepsRoundedDown", "--seconds 0.249 --rate 10", 2, 4037031876},
    {"OfStepsRoundedUp", "--seconds 0.25 --rate 10", 3, 1675003474},
};
INSTANTIATE_ROWS(MadeFlight, FLIGHTS);

TEST_F(MakeTest, ReportsAFullDiskAndLeavesNothingNew) {
  const std::pair<std::string, std::string> FULL_FILES[] = {
      {"f.cont", "--seconds 360000 --rate 1"}, {"f.cont", "--seconds 0.1"}, {"f.events", "--seconds 0.1"}};
  for (const auto& [file, options] : FULL_FILES) {
    std::filesystem::create_symlink("/dev/full", folder.path(file));
    expectRun("make f " + options, {1, "", "ostrelLog: " + file + ": No space left on device\n"});
    EXPECT_TRUE(std::filesystem::remove(folder.path(file)));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("")));
  }
}

TEST_F(MakeTest, LeavesTheOlderFlightWhenItIsInterrupted) {
  folder.write("f.cont", "older");
  const std::string script =
      "cd " + folder.path("") + "; \"$0\" make f --seconds 360000 --rate 100 &\n" +
      "until test $(ls | wc -l) -gt 1; do sleep 0.01; done; kill -s TERM $!; wait $!";
  EXPECT_EQ(runProgram("/bin/sh", {"-c", script, OSTREL_LOG}).exitStatus, 128 + SIGTERM);
  EXPECT_EQ(log("f.cont"), "older");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 1);
}

}  // namespace
