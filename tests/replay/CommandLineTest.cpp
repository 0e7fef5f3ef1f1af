#include "replay/ReplayFixture.hpp"

using testing::ElementsAre;

namespace {

using CommandLine = ReplayFixture;

const std::string USAGE =
    "Replays a Ostrel execution with input from a continuous bbox file and an event bbox file and "
    "potentially generate a new bbox file \n"
    "* Usage: " OSTREL_REPLAY
    " -i <CONT_BBOX_PATH> -e <EVENT_BBOX_PATH> [-g <NEW_BBOX> -d <DRONE_NAME> -m <DRONE_MODE>]\n"
    "* Options:\n"
    "    -h | --help                Print this message\n"
    "    -i <string>                Path to continuous bbox file\n"
    "    -e <string>                Path to the event bbox file\n"
    "    -g <string>                Path to bbox file to generate\n"
    "    -d <string>                Drone hardware name\n"
    "    -m <string>                Drone mode\n\n"
    "Environment variable OSTREL_ROOT_DIR can be set to change\n"
    "the base directory used to open configuration files.\n"
    "Environment variable OSTREL_CALIBRATION_DIR can be set to \nchange path to calibration files.\n\n";

TEST_F(CommandLine, UsageIsTheOutputForHelpAndForABadOption) {
  for (const auto& [option, status] : std::map<std::string, int>{{"-h", 0}, {"--help", 1}, {"-i", 1}}) {
    const ProgramResult result = run({"-d", "board", option});
    EXPECT_EQ(result.exitStatus, status) << option;
    EXPECT_EQ(result.out, USAGE) << option;
    EXPECT_THAT(linesLike("@|<"), ElementsAre("@prctl 29 1")) << option;
  }
}

struct Check : Row {
  Lines options;
  std::string line;
};
class Checks : public CommandLine, public testing::WithParamInterface<Check> {};

TEST_P(Checks, FailAfterCleaningUpAndBeforeAnythingElse) {
  for (const char* file : {"cont", "events", "root/etc/ostrel/file"}) folder.write(file, "");
  EXPECT_EQ(run(GetParam().options, "cd " + folder.path("")).exitStatus, 1);
  EXPECT_THAT(lines, ElementsAre("@prctl 29 1", "@unlink /dev/shm/shd_navdata-replay",
                                 "@unlink /dev/shm/shd_ostrellite", "@sleep 1", "<3>" + GetParam().line));
}

const Check CHECKS[] = {
    {"NoOption", {}, "Continuous bbox file  does not exist"},
    {"LastInputCounts", {"-i", "cont", "-i", "gone"}, "Continuous bbox file gone does not exist"},
    {"NoEvents", {"-i", "cont", "-e", "gone"}, "Event bbox file gone does not exist"},
    {"File", {"-i", "cont", "-e", "events", "-d", "file"}, "No Ostrel configuration for file"},
};
INSTANTIATE_ROWS(Checks, CHECKS);

TEST_F(CommandLine, PaceThatThereIsNotFailsTheCheckAfterAllOthers) {
  for (const char* file : {"cont", "events"}) folder.write(file, "");
  variables["OSTREL_REPLAY_PACE"] = "YIELD";
  const std::string inFolder = "cd " + folder.path("");
  EXPECT_EQ(run({"-i", "cont", "-e", "events", "-d", "gone"}, inFolder).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>No Ostrel configuration for gone");
  EXPECT_EQ(run({"-i", "cont", "-e", "events", "-d", "board", "more"}, inFolder).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>OSTREL_REPLAY_PACE is neither sleep nor yield : YIELD");
}

}  // namespace
