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

struct FailedCheck {
  const char* label;
  std::vector<std::string> arguments;  // CONT, EVENTS stand for the logs
  std::string line;
};
void PrintTo(const FailedCheck& row, std::ostream* out) {
  *out << row.label;
}

class RunCheck : public CommandLine, public testing::WithParamInterface<FailedCheck> {};

TEST_P(RunCheck, SaysWhatIsMissing) {
  folder.write("root/etc/ostrel/file", "");
  std::vector<std::string> arguments = GetParam().arguments;
  for (std::string& argument : arguments) {
    if (argument == "CONT") argument = continuous;
    if (argument == "EVENTS") argument = events;
  }
  EXPECT_EQ(run(arguments).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>ostrelReplay: " + GetParam().line);
  EXPECT_THAT(linesLike({"<6>"}), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RunCheck,
    testing::ValuesIn<FailedCheck>({
        {"LastContinuousLogCounts",
         {"-i", "CONT", "-i", "gone"},
         "Continuous bbox file gone does not exist"},
        {"NoEventLog", {"-i", "CONT"}, "Event bbox file  does not exist"},
        {"EventLogMissing", {"-i", "CONT", "-e", "gone"}, "Event bbox file gone does not exist"},
        {"UnknownHardware", {"-i", "CONT", "-e", "EVENTS", "-d", "b"}, "No Ostrel configuration for b"},
        {"HardwareIsAFile",
         {"-i", "CONT", "-e", "EVENTS", "-d", "file"},
         "No Ostrel configuration for file"},
    }),
    [](const auto& row) { return std::string(row.param.label); });

TEST_F(CommandLine, EmptyRootLeavesTheSystemsOwn) {
  variables["OSTREL_ROOT_DIR"] = "/nowhere";
  EXPECT_EQ(run({"-i", continuous, "-e", events}).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>ostrelReplay: No Ostrel configuration for ");
}

TEST_F(CommandLine, SummarisesTheRun) {
  EXPECT_EQ(run({"-i", continuous, "-e", events, "-d", "board", "-m", "test", "-g", "out"}).exitStatus, 0);
  const std::vector<std::string> summary(lines.begin() + 4, lines.begin() + 10);
  EXPECT_THAT(summary, ElementsAre("<6>ostrelReplay: Starting execution ...",
                                   "<6>ostrelReplay: Input continuous bbox-file : " + continuous,
                                   "<6>ostrelReplay: Input event-bbox file      : " + events,
                                   "<6>ostrelReplay: Drone hardware             : board",
                                   "<6>ostrelReplay: Drone mode                 : test",
                                   "<6>ostrelReplay: Generating new bbox to     : out"));
  run({"-i", continuous, "-e", events, "-d", "board", "-g", ""});
  EXPECT_THAT(linesLike({"<6>ostrelReplay: Generating"}), IsEmpty());
}

TEST_F(CommandLine, RunningModeFallsBackOnItsProperty) {
  const auto modeWith = [this](const std::string& properties, const std::vector<std::string>& options) {
    variables["SYS_PROP_FILE"] = properties;
    std::vector<std::string> arguments = {"-i", continuous, "-e", events, "-d", "board"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    run(arguments);
    const std::vector<std::string> created = linesLike({"@OSTREL_new"});
    return created.empty() ? lines.back() : created.front();
  };
  const std::string set = folder.write("set", "persist.running-mode=indoor\n");
  const std::string unset = folder.write("unset", "# nothing\n");
  const std::string unreadable = folder.makeDirectory("unreadable");
  EXPECT_EQ(modeWith(set, {}), "@OSTREL_new board indoor");
  EXPECT_EQ(modeWith(set, {"-m", "arg"}), "@OSTREL_new board arg");
  EXPECT_EQ(modeWith(set, {"-m", ""}), "@OSTREL_new board indoor");
  EXPECT_EQ(modeWith(unset, {}), "@OSTREL_new board default");
  EXPECT_EQ(modeWith("", {}), "@OSTREL_new board default");
  EXPECT_EQ(modeWith(unreadable, {}), "<3>ostrelReplay: Could not get running mode from properties");
  EXPECT_EQ(modeWith(unreadable, {"-m", "arg"}), "@OSTREL_new board arg");
}

}  // namespace
