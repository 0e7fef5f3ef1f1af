#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "LogTool.hpp"
#include "ostrelLog/preflight/Library.hpp"

namespace {

using nlohmann::json;

const std::string APIS = eventHeader("land, take_off", "0, 1", "none, altitude");
constexpr int LAND = 0, TAKE_OFF = 1;
const std::string COLUMNS = continuousHeader({"index"});

class CheckTest : public LogTool {
 protected:
  CheckTest() {
    folder.makeDirectory("root/etc/ostrel");
    setenv("OSTREL_ROOT_DIR", folder.path("root").c_str(), 1);
    for (const char* name : {"SYS_PROP_FILE", "TLMB_SECTION_NAME"}) unsetenv(name);
  }

  /// A log with a column for each sensor value, and samples of these steps whose values are 0.
  std::string samples(const std::vector<double>& steps) const {
    run("make flight --seconds 0.01");
    const std::string flight = readFile(folder.path("flight.cont")), end = "-- Data\n";
    std::string log = flight.substr(0, flight.find(end) + end.size());
    for (const double step : steps) log += values({step}) + std::string(138 * sizeof(double), '\0');
    return log;
  }

  /// Checks logs of these bytes. The output is without the row of the library, whose path is the build's.
  ProgramResult check(const std::string& continuous, const std::string& events,
                      const std::string& options = "") const {
    folder.write("cont", continuous);
    folder.write("events", events);
    ProgramResult result = run("check cont events " + options);
    result.out = std::regex_replace(result.out, std::regex("  library    .*/libostrel.*, 7 APIs\n"), "");
    return result;
  }
};

/// The verdict on these samples and calls, then what was found, with its counts.
struct Answer : Row {
  std::vector<double> steps;
  std::string events, answer;
};
class CheckAnswer : public CheckTest, public testing::WithParamInterface<Answer> {};

TEST_P(CheckAnswer, NamesWhatAReplayWouldLose) {
  const ProgramResult result = check(samples(GetParam().steps), GetParam().events, "--json");
  const json object = json::parse(result.out);
  std::string answer = object["verdict"];
  for (const char* list : {"losses", "notes"}) {
    for (const json& found : object[list])
      answer += ", " + found["kind"].get<std::string>() + " " + found["count"].dump();
  }
  EXPECT_EQ(answer, GetParam().answer);
  EXPECT_EQ(result.exitStatus, object["verdict"] == "lossless" ? 0 : 3);
}

const std::string CALL = event(1, LAND), DAMAGE = values({23, 9, 0}), BEHIND = ", calls behind the end 1";
const std::string OTHER_APIS = eventHeader("jump, land, take_off", "0, 1, 1", "none, now, height");
const Answer ANSWERS[] = {
    {"Nothing", {0, 1}, APIS + CALL + event(2, LAND), "lossless" + BEHIND},
    {"NothingByStepsThatGoBack", {2, 1, 2}, APIS, "lossless, steps going back 1"},
    {"GapsButForOneBehindStepZero", {0, 2, 4, 8}, APIS, "losses, gaps 2, gap behind step 0 1"},
    {"SamplesBehindANegativeStep", {0, -1, 1}, APIS, "losses, negative step 2"},
    {"CallsMetWithTheEnd", {1}, APIS + event(0, LAND) + CALL, "losses, calls met with the end 2"},
    {"LateCalls", {2, 3}, APIS + event(2, LAND) + CALL + event(4, LAND), "losses, late calls 1" + BEHIND},
    {"CallsThatNoSampleReaches",
     {0},
     APIS + CALL + event(2, TAKE_OFF),
     "losses, unusual calls 1, unreached calls 1" + BEHIND},
    {"CallsWithoutAName", {0}, APIS + event(1, 7), "losses, unnamed calls 1"},
    {"CallsBehindDamage", {0}, APIS + CALL + DAMAGE, "losses, damaged 1" + BEHIND},
    {"OtherApis", {0}, OTHER_APIS + CALL, "losses, argument count 1, argument name 1, unknown API 1"},
};
INSTANTIATE_ROWS(CheckAnswer, ANSWERS);

TEST_F(CheckTest, SaysTheVerdictFirst) {
  EXPECT_EQ(check(samples({1, 3}), APIS + event(3, LAND) + event(4, LAND)).out,
            "losses: 1, 2 steps, 1 of 2 calls\n"
            "  loss       cont: 1 gap, 1 step missing, the first ones behind step 1\n"
            "  note       events: 1 call of the step behind the last sample, which was not run\n"
            "  variant    quad-x, from the continuous log\n  sensors    139 of 139 values\n"
            "  index      1 to 3\n");
}

TEST_F(CheckTest, NamesColumnsThatDoNotBind) {
  const json answer =
      json::parse(check(continuousHeader({"index", "odd"}, "ro.hardware : quad-x\n"), APIS, "--json").out);
  EXPECT_EQ(answer["sensors"], json::parse(R"({"registered": 139, "bound": 1})"));
  EXPECT_EQ(answer["losses"][0]["names"].size(), 138U);
  EXPECT_EQ(answer["losses"][1], json::parse(R"({"kind": "unknown columns", "file": "cont", "count": 1,
    "text": "1 column that nothing takes:", "names": ["odd"]})"));
}

TEST_F(CheckTest, NamesTheSectionsOfABlackboxLogThatHasNoneToReplay) {
  const std::string log = BlackboxBuilder().addSection(1, "n\x1f", {{"index", TLM_VAR_INT8, 1, 1}}).bytes;
  EXPECT_EQ(check(log, eventHeader("land", "0", "none", "product : board\n")).out,
            "losses: 2, 0 steps, 0 of 0 calls\n"
            "  loss       cont: has no section navdata that can be replayed, but 1 section:\n    n?\n"
            "  loss       cont: cut short at byte " +
                std::to_string(log.size()) +
                "\n  variant    board, from the event log\n  section    navdata\n"
                "  sensors    0 of 139 values\n");
}

TEST_F(CheckTest, NamesWhatKeepsAReplayFromRunning) {
  const auto verdict = [&](const std::string& header) { return check(header, APIS).out; };
  EXPECT_EQ(verdict(COLUMNS),
            "cannot run: hardware variant: neither the logs nor the property ro.hardware name one\n");
  EXPECT_EQ(verdict("no log"), "cannot run: cont: it has no header of a legacy log\n");
  setenv("SYS_PROP_FILE", folder.path("root").c_str(), 1);
  EXPECT_EQ(verdict(COLUMNS), "cannot run: persist.running-mode: the property can't be read\n");
  setenv("OSTREL_ROOT_DIR", "nowhere", 1);
  unsetenv("SYS_PROP_FILE");
  EXPECT_EQ(verdict(COLUMNS),
            "cannot run: nowhere/etc/ostrel/: no such directory, which has the library's configuration\n");
}

TEST_F(CheckTest, SurvivesALibraryThatDoesNot) {
  const std::string told = "the process that loads the flight-control library ended ";
  const auto verdict = [&](const char* how) {
    setenv("BAD_LIBRARY", how, 1);
    return check(COLUMNS, APIS, "--library " BAD_LIBRARY).out;
  };
  EXPECT_EQ(verdict("crash"), "cannot run: " BAD_LIBRARY ": " + told + "by signal 6\n");
  EXPECT_EQ(verdict("exit"), "cannot run: " BAD_LIBRARY ": " + told + "with status 0\n");
  setenv("BAD_LIBRARY", "hang", 1);
  EXPECT_EQ(
      std::get<logtool::Fault>(logtool::askLibrary(BAD_LIBRARY, std::chrono::milliseconds(100))).reason,
      "the flight-control library did not answer within 100 ms");
}

TEST_F(CheckTest, RefusesADirectoryWithoutTheLibrary) {
  EXPECT_THAT(
      check(COLUMNS, APIS, "--library root").out,
      testing::MatchesRegex("cannot run: root: has no flight-control library that the loader takes; "
                            "it takes .*/libostrel.*\n"));
}

}  // namespace
