#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <sstream>
#include <tuple>

#include "support/LegacyLog.hpp"
#include "support/RunProgram.hpp"
#include "support/TestFolder.hpp"
#include "telemetry/blackbox_writer.hpp"

namespace {

using testing::AllOf;
using testing::HasSubstr;

/// All of a log but its last bytes.
std::string cutBy(const std::string& log, std::size_t bytes) {
  return log.substr(0, log.size() - bytes);
}

/// A continuous log of the columns index, a.x and a.y.
std::string continuous(std::initializer_list<double> samples) {
  return continuousHeader({"index", "a.x", "a.y"}) + values(samples);
}

/// One of a single sample.
std::string withX(double x) {
  return continuous({0, x, 1});
}

std::string sampled(std::uint8_t y, std::int32_t index, float x, std::uint16_t out = 7) {
  const auto packed = [](auto... numbers) {
    return (... + std::string(reinterpret_cast<const char*>(&numbers), sizeof numbers));
  };
  return packed(y, index, x, out);
}

/// A blackbox log of the section `empty`, which has no samples, and `nav`, as continuous() has them in
/// narrower types with an output behind.
std::string blackbox(std::uint16_t secondOut = 7) {
  const TestFolder folder;
  telemetry::BlackboxWriter writer;
  EXPECT_EQ(writer.open(folder.path("log"), {{"ro.hardware", "quad-x"}}), 0);
  writer.addSection("empty", {{"b", TLM_VAR_BOOL, 4, 1}});
  const int nav = writer.addSection("nav", {{"a.y", TLM_VAR_UINT8, 1, 1},
                                            {"index", TLM_VAR_INT32, 1, 4},
                                            {"a.x", TLM_VAR_FLOAT, 1, 4},
                                            {"out", static_cast<tlm_var_type>(77), 1, 2}});
  for (const auto& sample : {sampled(1, 0, 0.1F), sampled(2, 1, 0.2F, secondOut), sampled(3, 2, 0.3F)}) {
    EXPECT_EQ(writer.sample(static_cast<unsigned>(nav), {}, sample.data(), sample.size()), 0);
  }
  EXPECT_EQ(writer.close(), 0);
  return readFile(folder.path("log"));
}

const std::string FLIGHT = continuous({0, 0.1, 1, 1, 0.2, 2, 2, 0.3, 259});
const std::string REPLAY = blackbox();
/// The event log of land(), which has the id 0, and move(to, by).
const std::string APIS = eventHeader("land, move", "0, 2", "none, to, by", "product : quad-x\n");
const std::string MOVE = event(3, 1, {5, 6}), LAND = event(3, 0), LATER = event(8, 0);
const std::string CALLS = APIS + MOVE + LAND + LATER;

const std::string OTHER_X = continuous({0, 0.1, 1, 1, 0.5, 2, 2, 0.75, 259});
const std::string OTHER_STEPS = continuous({0, 0.1, 1, 2, 0.3, 259, 3, 0, 0});
const std::string OTHER_INDEX = continuous({4, 0.1, 1, 8, 0.2, 2, 9, 0.3, 259});
const std::string BACK = continuous({5, 0, 0, 5, 1, 1, 2, 2, 2});
const std::string OTHER_BACK = continuous({5, 0, 0, 5, 1, 1, 2, 3, 2});
const std::string BRACKETS = continuousHeader({"a[0]"});
const std::string OTHER_OUT = blackbox(519);
const std::string OTHER_LAYOUT =
    eventHeader("move, land", "2, 0", "by, to, none") + event(3, 0, {6, 5}) + event(3, 1) + event(8, 1);

TEST(LogDiff, TellsWhatDiffers) {
  const std::tuple<const char*, std::string, std::string, const char*, int, const char*> diffs[] = {
      {"Same", FLIGHT, FLIGHT, "", 0, "same: 3 steps, 3 variables\n"},
      {"FirstValue", FLIGHT, OTHER_X, "", 1, "first: index 1, a.x: 0.2 in A, 0.5 in B\n"},
      {"Patterns", FLIGHT, OTHER_X, "--only *.y --only index", 0, "same: 3 steps, 2 variables"},
      {"Brackets", BRACKETS + values({1}), BRACKETS + values({2}), "--only a[0]", 1, "index 0, a[0]: 1"},
      {"NamesNothing", FLIGHT, FLIGHT, "--only b.*", 2, "--only: names nothing"},
      {"StepsInTheMiddle", FLIGHT, OTHER_STEPS, "--only a.*", 1, "first: index 1, a step only in A\n"},
      {"ByRecord", FLIGHT, OTHER_INDEX, "--by-record --only a.*", 0, "same: 3 steps, 2 variables"},
      {"IndicesRepeatAndGoBack", BACK, OTHER_BACK, "", 1, "first: index 2, a.x: 2 in A, 3 in B"},
      {"NotNumbers", continuous({NAN, NAN, 1}), continuous({NAN, -NAN, 1}), "", 0, "same"},
      {"SignOfZero", withX(-0.0), withX(0), "", 1, "a.x: -0 in A, 0 in B"},
      {"SignOfZeroWithTolerance", withX(-0.0), withX(0), "--tolerance 0", 0, "same"},
      {"AtTheTolerance", withX(1.5), withX(1.75), "--tolerance 0.25", 0, "same"},
      {"BeyondTheTolerance", withX(1.5), withX(1.75), "--tolerance 0.24", 1, "a.x: 1.5 in A, 1.75 in B"},
      // 0.1 becomes the nearest float, 259 the 3 that a byte keeps of it.
      {"Replay", FLIGHT, REPLAY, "--only a.* --only index", 0, "same: 3 steps, 3 variables"},
      {"ReplayHasOutputs", REPLAY, FLIGHT, "", 1, "variables only in A: 1 (out)\n"},
      {"TypeWithoutAName", REPLAY, OTHER_OUT, "", 1, "index 1, out[1]: 0 in A, 2 in B"},
      {"CutReplay", FLIGHT, cutBy(REPLAY, 20), "--only a.*", 2, "b: cut short after byte "},
      {"ArgumentsByName", CALLS, OTHER_LAYOUT, "", 0, "same: 3 calls, 2 arguments"},
      {"Argument", CALLS, APIS + event(3, 1, {5, 7}) + LAND + LATER, "", 1,
       "index 3, move.by: 6 in A, 7 in B"},
      {"OrderOfCalls", CALLS, APIS + LAND + MOVE + LATER, "", 1, "index 3, call: move in A, land in B"},
      {"StepOfACall", CALLS, APIS + MOVE + LAND + event(7, 0), "", 1, "index 7, a call of land only in B"},
      {"CallsAndSamples", CALLS, FLIGHT, "", 2, "only one of the two is an event log"},
      {"NoColumns", FLIGHT, header("nentries : 0\n"), "", 2, "b: its header has no 'titles' entry"},
  };
  for (const auto& [label, a, b, options, exitStatus, said] : diffs) {
    SCOPED_TRACE(label);
    const TestFolder folder;
    std::vector<std::string> arguments = {"diff", folder.write("a", a), folder.write("b", b)};
    std::istringstream words(options);
    for (std::string word; words >> word;) arguments.push_back(word);
    const ProgramResult result = runProgram(OSTREL_LOG, arguments);
    EXPECT_EQ(result.exitStatus, exitStatus);
    EXPECT_THAT(result.out + result.err, HasSubstr(said));
  }
}

const std::string GAPS = continuous({-3, 0, 0, 0, 0, 0, 4, 0, 0, 4, 0, 0, 1, 0, 0});

TEST(LogInfo, DescribesTheLog) {
  // The value is what the JSON has at the path.
  const std::tuple<const char*, std::string, int, const char*, nlohmann::json> infos[] = {
      {"Gaps", GAPS, 0, "/index/gaps/largest", {{"after", 0}, {"missing", 3}}},
      {"CutRecord", cutBy(FLIGHT, 8), 3, "/end/byte", FLIGHT.size() - 24},
      {"Apis", CALLS, 0, "/apis/0/records", 2},
      {"Steps", CALLS, 0, "/steps", {{"first", 3}, {"last", 8}, {"backwards", 0}}},
      {"CutCall", CALLS + event(9, 1, {1, 2}).substr(0, 39), 3, "/end/byte", CALLS.size()},
      {"CallOfNoSize", CALLS + values({NAN, 9, 0}), 3, "/end/state", "damaged"},
      {"CallWithAnArgumentTooMany", CALLS + event(9, 0, {1}), 0, "/apis/0/records", 3},
      {"Section", REPLAY, 0, "/sections/1/index/last", 2},
      {"SectionWithoutSamples", REPLAY, 0, "/sections/0/variables/0/elements", 4},
      {"NotClosed", cutBy(REPLAY, 20), 3, "/end/byte", REPLAY.size() - 20},
      {"CutSample", cutBy(REPLAY, 21), 3, "/sections/1/records", 2},
      {"Flipped", std::string(REPLAY).replace(REPLAY.size() - 22, 1, "?"), 3, "/end/state", "damaged"},
      {"CutAfterTheMagic", "TLMB", 3, "/end/state", "cut"},
      {"NoLog", "text", 1, "/error",
       "no flight log: neither the start of a blackbox log nor a legacy header"},
  };
  for (const auto& [label, bytes, exitStatus, path, value] : infos) {
    SCOPED_TRACE(label);
    const TestFolder folder;
    const std::string log = folder.write("log", bytes);
    const ProgramResult result = runProgram(OSTREL_LOG, {"info", "--json", log});
    EXPECT_EQ(result.exitStatus, exitStatus) << result.err;
    const auto logs = nlohmann::json::parse(result.out);
    EXPECT_EQ(logs.at(0).value(nlohmann::json::json_pointer(path), nlohmann::json("none")), value);
    EXPECT_EQ(runProgram(OSTREL_LOG, {"info", "--columns", log}).exitStatus, exitStatus);
  }
}

TEST(LogInfo, GoesOnBehindAFileThatIsMissing) {
  const TestFolder folder;
  const std::string missing = folder.path("missing");
  const std::string cut = folder.write("cut", cutBy(FLIGHT, 1));
  const std::string strange = folder.write("strange", continuousHeader({"x\xff\x1b"}));
  const ProgramResult text = runProgram(OSTREL_LOG, {"info", missing, cut, strange, "--columns"});
  EXPECT_EQ(text.exitStatus, 1);
  EXPECT_EQ(text.err, "ostrelLog: " + missing + ": No such file or directory\n");
  EXPECT_THAT(text.out, AllOf(HasSubstr(cut + ": legacy continuous log"), HasSubstr("end        cut short"),
                              HasSubstr("x\xff?\n")));
  const ProgramResult json = runProgram(OSTREL_LOG, {"info", missing, cut, strange, "--json"});
  EXPECT_EQ(json.exitStatus, 1);
  EXPECT_EQ(nlohmann::json::parse(json.out).size(), 3U);
}

}  // namespace
