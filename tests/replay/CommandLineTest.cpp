#include "replay/ReplayFixture.hpp"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class CommandLine : public ReplayFixture {
 protected:
  const std::string usage =
      "Replays a Ostrel execution with input from a continuous bbox file and an event bbox file and "
      "potentially "
      "generate a new bbox file \n"
      "* Usage: " OSTREL_REPLAY
      " -i <CONT_BBOX_PATH> -e <EVENT_BBOX_PATH> [-g <NEW_BBOX> -d <DRONE_NAME> -m <DRONE_MODE>]\n"
      "* Options:\n"
      "    -h | --help                Print this message\n"
      "    -i <string>                Path to continuous bbox file\n"
      "    -e <string>                Path to the event bbox file\n"
      "    -g <string>                Path to bbox file to generate\n"
      "    -d <string>                Drone hardware name\n"
      "    -m <string>                Drone mode\n"
      "\n"
      "Environment variable OSTREL_ROOT_DIR can be set to change\n"
      "the base directory used to open configuration files.\n"
      "Environment variable OSTREL_CALIBRATION_DIR can be set to \n"
      "change path to calibration files.\n"
      "\n";
  const std::string continuous = folder.write("cont", continuousHeader({"index"}));
  const std::string events = folder.write("events", eventHeader("f", "0", "x"));
};

TEST_F(CommandLine, HelpIsTheUsageAndNothingElse) {
  const ProgramResult help = run({"-i", "nowhere", "-h"});
  EXPECT_EQ(help.exitStatus, 0);
  EXPECT_EQ(help.out, usage);
  EXPECT_EQ(help.err, "@prctl 29 1\n");
}

TEST_F(CommandLine, BadOptionShowsTheUsageAndFails) {
  for (const char* option : {"--help", "-x", "-i"}) {
    const ProgramResult bad = run({option});
    EXPECT_EQ(bad.exitStatus, 1) << option;
    EXPECT_EQ(bad.out, usage) << option;
    EXPECT_THAT(lines, ElementsAre("@prctl 29 1", HasSubstr(OSTREL_REPLAY))) << option;
  }
}

TEST_F(CommandLine, ChecksComeAfterCleaningUp) {
  EXPECT_EQ(run({}).exitStatus, 1);
  EXPECT_THAT(lines, ElementsAre("@prctl 29 1", "@unlink /dev/shm/shd_navdata-replay",
                                 "@unlink /dev/shm/shd_ostrellite", "@sleep 1",
                                 "<3>ostrelReplay: Continuous bbox file  does not exist"));
}

struct Check : Row {
  Lines arguments;
  std::string root;  // of the configuration
  std::string line;
};
class Checks : public CommandLine, public testing::WithParamInterface<Check> {};

TEST_P(Checks, EndAtTheFirstFailureWithOneLine) {
  Lines arguments = GetParam().arguments;
  for (std::string& argument : arguments) {
    if (argument == "CONT") argument = continuous;
    if (argument == "EVENTS") argument = events;
  }
  folder.write("root/etc/ostrel/file", "");
  variables["OSTREL_ROOT_DIR"] = folder.path(GetParam().root);
  EXPECT_EQ(run(arguments).exitStatus, 1);
  EXPECT_THAT(linesLike({"<"}), ElementsAre("<3>ostrelReplay: " + GetParam().line));
}

const Check CHECKS[] = {
    {"LastInputCounts", {"-i", "CONT", "-i", "gone"}, "root", "Continuous bbox file gone does not exist"},
    {"NoEventLog", {"-i", "CONT"}, "root", "Event bbox file  does not exist"},
    {"EventLogGone", {"-i", "CONT", "-e", "gone"}, "root", "Event bbox file gone does not exist"},
    {"UnknownBoard", {"-i", "CONT", "-e", "EVENTS", "-d", "b"}, "root", "No Ostrel configuration for b"},
    {"BoardIsAFile",
     {"-i", "CONT", "-e", "EVENTS", "-d", "file"},
     "root",
     "No Ostrel configuration for file"},
    {"RootGone", {"-i", "CONT", "-e", "EVENTS"}, "gone", "No Ostrel configuration for "},
};
INSTANTIATE_ROWS(Checks, CHECKS);

TEST_F(CommandLine, SummarisesTheRun) {
  const std::string out = folder.path("out");
  EXPECT_EQ(run({"-i", continuous, "-e", events, "-d", "board", "-m", "test", "-g", out}).exitStatus, 0);
  const Lines summary(lines.begin() + 4, lines.begin() + 10);
  EXPECT_THAT(summary, ElementsAre("<6>ostrelReplay: Starting execution ...",
                                   "<6>ostrelReplay: Input continuous bbox-file : " + continuous,
                                   "<6>ostrelReplay: Input event-bbox file      : " + events,
                                   "<6>ostrelReplay: Drone hardware             : board",
                                   "<6>ostrelReplay: Drone mode                 : test",
                                   "<6>ostrelReplay: Generating new bbox to     : " + out));
}

TEST_F(CommandLine, EmptyOutputExportsNothing) {
  EXPECT_EQ(run({"-i", continuous, "-e", events, "-d", "board", "-g", ""}).exitStatus, 0);
  EXPECT_THAT(linesLike({"<6>ostrelReplay: Generating", "@kvs", "@evl", "@ostrel"}), IsEmpty());
}

TEST_F(CommandLine, WithoutABoardTheConfigurationRootWillDo) {
  variables["SYS_PROP_FILE"] = folder.write("properties", "ro.hardware=any\n");
  EXPECT_EQ(run({"-i", continuous, "-e", events}).exitStatus, 0);
}

/// What the property file holds ("none": there is no property file) and the options; the mode that follows.
struct Mode : Row {
  std::string properties;
  Lines options;
  std::string mode;
};
class RunningMode : public CommandLine, public testing::WithParamInterface<Mode> {};

TEST_P(RunningMode, ComesFromTheOptionThenThePropertyThenIsTheDefault) {
  if (GetParam().properties != "none") {
    variables["SYS_PROP_FILE"] = folder.write("properties", GetParam().properties);
  }
  Lines arguments = {"-i", continuous, "-e", events, "-d", "board"};
  arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
  run(arguments);
  EXPECT_THAT(linesLike({"@OSTREL_new"}), ElementsAre("@OSTREL_new board " + GetParam().mode));
}

const Mode MODES[] = {
    {"Property", "persist.running-mode=indoor\n", {}, "indoor"},
    {"Option", "persist.running-mode=indoor\n", {"-m", "arg"}, "arg"},
    {"EmptyOption", "persist.running-mode=indoor\n", {"-m", ""}, "indoor"},
    {"PropertyEmpty", "persist.running-mode=\n", {}, ""},
    {"PropertyUnset", "# nothing\n", {}, "default"},
    {"NoProperties", "none", {}, "default"},
};
INSTANTIATE_ROWS(RunningMode, MODES);

TEST_F(CommandLine, PropertiesThatCanNotBeReadFailTheRun) {
  variables["SYS_PROP_FILE"] = folder.makeDirectory("unreadable");
  EXPECT_EQ(run({"-i", continuous, "-e", events, "-d", "board"}).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>ostrelReplay: Could not get running mode from properties");
}

TEST_F(CommandLine, PropertiesThatCanNotBeReadAreNotAskedWhenTheModeIsGiven) {
  variables["SYS_PROP_FILE"] = folder.makeDirectory("unreadable");
  EXPECT_EQ(run({"-i", continuous, "-e", events, "-d", "board", "-m", "arg"}).exitStatus, 0);
}

}  // namespace
