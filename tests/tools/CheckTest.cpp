#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>

#include "LogTool.hpp"
#include "logfile/scan/ElementType.hpp"
#include "ostrelLog/SensorColumns.hpp"
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

  /// The verdict on these logs, then what was found, with its counts.
  std::string answer(const std::string& continuous, const std::string& events) const {
    const ProgramResult result = check(continuous, events, "--json");
    const json object = json::parse(result.out);
    std::string text = object["verdict"];
    for (const char* list : {"losses", "notes"}) {
      for (const json& found : object[list])
        text += ", " + found["kind"].get<std::string>() + " " + found["count"].dump();
    }
    EXPECT_EQ(result.exitStatus, text.rfind("lossless", 0) == 0 ? 0 : 3);
    return text;
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

/// The variables of a section that can be replayed.
std::vector<telemetry::VarDesc> sensorVariables() {
  const std::map<Types, tlm_var_type> types = {
      {TYPES_BOOL, TLM_VAR_BOOL},     {TYPES_UINT8, TLM_VAR_UINT8},   {TYPES_UINT16, TLM_VAR_UINT16},
      {TYPES_UINT32, TLM_VAR_UINT32}, {TYPES_UINT64, TLM_VAR_UINT64}, {TYPES_INT32, TLM_VAR_INT32},
      {TYPES_INT64, TLM_VAR_INT64},   {TYPES_FLOAT, TLM_VAR_FLOAT},   {TYPES_DOUBLE, TLM_VAR_DOUBLE}};
  std::vector<telemetry::VarDesc> variables;
  for (const DataEntryBase* entry : logtool::SensorColumns().registry.entryList) {
    const tlm_var_type type = types.at(entry->type);
    variables.push_back({entry->name, type, 1, elementType(type)->bytes});
  }
  return variables;
}

/// The verdict on these samples and calls, then what was found, with its counts.
struct Answer : Row {
  std::vector<double> steps;
  std::string events, answer;
};
class CheckAnswer : public CheckTest, public testing::WithParamInterface<Answer> {};

TEST_P(CheckAnswer, NamesWhatAReplayWouldLose) {
  EXPECT_EQ(answer(samples(GetParam().steps), GetParam().events), GetParam().answer);
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
    {"OtherApis",
     {1},
     OTHER_APIS + CALL + event(1, 1, {0}) + event(1, 2, {0}) + event(3, 0),
     "losses, unknown API 2, argument count 1, argument name 1"},
    {"NothingByOtherApisWithoutCalls",
     {0},
     OTHER_APIS,
     "lossless, unknown API 0, argument count 1, argument name 1"},
};
INSTANTIATE_ROWS(CheckAnswer, ANSWERS);

TEST_F(CheckTest, SaysTheVerdictFirst) {
  EXPECT_EQ(check(samples({1, 3}), APIS + event(3, 7) + event(3, LAND) + event(4, LAND)).out,
            "losses: 2, 2 steps, 1 of 3 calls\n"
            "  loss       cont: 1 gap, 1 step missing, the first ones behind step 1\n"
            "  loss       events: 1 call not made because the header does not name the API, the first one "
            "of step 3\n"
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

TEST_F(CheckTest, NamesWhatIsLostWhenASectionIsDescribedAnew) {
  const auto variables = sensorVariables();
  auto longer = variables, moved = variables, array = variables;
  longer.push_back({"more", TLM_VAR_BOOL, 1, 1});
  std::swap(moved.front(), moved.back());
  array.front().count = 2;
  const auto section = [&] {
    return BlackboxBuilder(BlackboxBuilder::Values{{"ro.hardware", "quad-x"}})
        .addSection(1, "navdata", variables);
  };
  const auto change = [&](const std::string& name, const std::vector<telemetry::VarDesc>& description) {
    return answer(section().changeSection(1, name, description).end().bytes, APIS);
  };
  EXPECT_EQ(change("navdata", longer), "lossless");
  EXPECT_EQ(change("navdata", moved), "losses, changed section 1");
  EXPECT_EQ(change("other", variables), "losses, changed section 1");
  EXPECT_EQ(change("navdata", {variables[0]}), "losses, missing variables 138");
  EXPECT_EQ(change("navdata", array), "losses, array 1");
  std::size_t bytes = 0;
  for (const telemetry::VarDesc& variable : variables) bytes += variable.elementBytes;
  const std::string sample(bytes, '\0');
  EXPECT_EQ(answer(section().addSection(2, "navdata", variables).sample(1, 0, 0, sample).end().bytes, APIS),
            "losses, skipped samples 1");
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
  EXPECT_EQ(verdict("crash"), "cannot run: " BAD_LIBRARY ": " + told + "by signal 6 before it answered\n");
  EXPECT_EQ(verdict("exit"), "cannot run: " BAD_LIBRARY ": " + told + "with status 0 before it answered\n");
  setenv("BAD_LIBRARY", "hang", 1);
  EXPECT_EQ(
      std::get<logtool::Fault>(logtool::askLibrary(BAD_LIBRARY, std::chrono::milliseconds(100))).reason,
      "the flight-control library did not answer within 100 ms");
}

TEST_F(CheckTest, SaysWhatTheLoaderMissesInALibrary) {
  EXPECT_THAT(
      check(COLUMNS, APIS, "--library " LACKING_LIBRARY).out,
      testing::MatchesRegex("cannot run: " LACKING_LIBRARY ": .* with status 127 before it answered: "
                            ".*: undefined symbol: OSTREL_process\n"));
}

TEST_F(CheckTest, TakesALibraryInADirectoryWithALineFeedWhoseFunctionsAreInAnother) {
  unsetenv("BAD_LIBRARY");
  std::filesystem::create_directory_symlink(BAD_LIBRARY, folder.path("line\nfeed"));
  EXPECT_EQ(check(samples({0}), APIS, "--library \"line\nfeed\"").exitStatus, 0);
}

TEST_F(CheckTest, RefusesAPipe) {
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  folder.write("events", APIS);
  expectRun("check pipe events", {1, "cannot run: pipe: not a regular file\n", ""});
  expectRun("check events pipe", {1, "cannot run: pipe: not a regular file\n", ""});
}

TEST_F(CheckTest, RefusesADirectoryWithoutTheLibrary) {
  EXPECT_THAT(
      check(COLUMNS, APIS, "--library root").out,
      testing::MatchesRegex("cannot run: root: has no flight-control library that the loader takes; "
                            "it takes .*/libostrel.*\n"));
}

}  // namespace
