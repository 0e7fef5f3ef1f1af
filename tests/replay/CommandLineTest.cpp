#include <tuple>

#include "replay/ReplayFixture.hpp"

using testing::ElementsAre;
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

TEST_F(CommandLine, BadOptionsShowTheUsageAndFail) {
  for (const char* option : {"--help", "-x", "-i"}) {
    const ProgramResult bad = run({option});
    EXPECT_EQ(bad.exitStatus, 1) << option;
    EXPECT_EQ(bad.out, usage) << option;
    EXPECT_THAT(lines, ElementsAre("@prctl 29 1", testing::HasSubstr(OSTREL_REPLAY))) << option;
  }
}

TEST_F(CommandLine, ChecksComeAfterCleaningUpAndEndAtTheFirstFailure) {
  EXPECT_EQ(run({}).exitStatus, 1);
  EXPECT_THAT(lines, ElementsAre("@prctl 29 1", "@unlink /dev/shm/shd_navdata-replay",
                                 "@unlink /dev/shm/shd_ostrellite", "@sleep 1",
                                 "<3>ostrelReplay: Continuous bbox file  does not exist"));
}

TEST_F(CommandLine, ChecksSayWhatIsMissing) {
  folder.write("root/etc/ostrel/file", "");
  const std::pair<std::vector<std::string>, const char*> checks[] = {
      {{"-i", continuous, "-i", "gone"}, "Continuous bbox file gone does not exist"},
      {{"-i", continuous}, "Event bbox file  does not exist"},
      {{"-i", continuous, "-e", "gone"}, "Event bbox file gone does not exist"},
      {{"-i", continuous, "-e", events, "-d", "b"}, "No Ostrel configuration for b"},
      {{"-i", continuous, "-e", events, "-d", "file"}, "No Ostrel configuration for file"},
  };
  for (const auto& [arguments, line] : checks) {
    EXPECT_EQ(run(arguments).exitStatus, 1);
    EXPECT_EQ(lines.back(), std::string("<3>ostrelReplay: ") + line);
    EXPECT_THAT(linesLike({"<6>"}), IsEmpty());
  }
  variables["OSTREL_ROOT_DIR"] = "/nowhere";
  EXPECT_EQ(run({"-i", continuous, "-e", events}).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>ostrelReplay: No Ostrel configuration for ");
}

TEST_F(CommandLine, SummarisesTheRun) {
  const std::string out = folder.path("out");
  EXPECT_EQ(run({"-i", continuous, "-e", events, "-d", "board", "-m", "test", "-g", out}).exitStatus, 0);
  const std::vector<std::string> summary(lines.begin() + 4, lines.begin() + 10);
  EXPECT_THAT(summary, ElementsAre("<6>ostrelReplay: Starting execution ...",
                                   "<6>ostrelReplay: Input continuous bbox-file : " + continuous,
                                   "<6>ostrelReplay: Input event-bbox file      : " + events,
                                   "<6>ostrelReplay: Drone hardware             : board",
                                   "<6>ostrelReplay: Drone mode                 : test",
                                   "<6>ostrelReplay: Generating new bbox to     : " + out));
  run({"-i", continuous, "-e", events, "-d", "board", "-g", ""});
  EXPECT_THAT(linesLike({"<6>ostrelReplay: Generating"}), IsEmpty());
}

TEST_F(CommandLine, RunningModeFallsBackOnItsProperty) {
  const std::string set = folder.write("set", "persist.running-mode=indoor\n");
  const std::string unset = folder.write("unset", "# nothing\n");
  const std::string unreadable = folder.makeDirectory("unreadable");
  const std::tuple<std::string, std::vector<std::string>, std::string> modes[] = {
      {set, {}, "indoor"},    {set, {"-m", "arg"}, "arg"}, {set, {"-m", ""}, "indoor"},
      {unset, {}, "default"}, {"", {}, "default"},         {unreadable, {"-m", "arg"}, "arg"},
  };
  for (const auto& [properties, options, mode] : modes) {
    variables["SYS_PROP_FILE"] = properties;
    std::vector<std::string> arguments = {"-i", continuous, "-e", events, "-d", "board"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    run(arguments);
    EXPECT_THAT(linesLike({"@OSTREL_new"}), ElementsAre("@OSTREL_new board " + mode));
  }
  variables["SYS_PROP_FILE"] = unreadable;
  EXPECT_EQ(run({"-i", continuous, "-e", events, "-d", "board"}).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>ostrelReplay: Could not get running mode from properties");
}

}  // namespace
