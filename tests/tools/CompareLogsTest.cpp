#include <gmock/gmock.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/LegacyLog.hpp"
#include "support/Row.hpp"
#include "support/RunProgram.hpp"
#include "support/TestFolder.hpp"
#include "telemetry/blackbox_writer.hpp"

namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

template <class... Numbers>
std::string packed(Numbers... numbers) {
  return (... + std::string(reinterpret_cast<const char*>(&numbers), sizeof numbers));
}

/// All of a log but its last bytes.
std::string cutBy(const std::string& log, std::size_t bytes) {
  return log.substr(0, log.size() - bytes);
}

/// A continuous log of the columns index, a.x and a.y.
std::string continuous(const std::vector<std::string>& records, const std::string& variant = "") {
  std::string bytes = continuousHeader({"index", "a.x", "a.y"}, variant);
  for (const std::string& record : records) bytes += record;
  return bytes;
}

/// An event log of land() and move(to, by).
std::string calls(const std::vector<std::string>& records) {
  std::string bytes = eventHeader("land, move", "0, 2", "none, to, by", "product : quad-x\n");
  for (const std::string& record : records) bytes += record;
  return bytes;
}

/// A blackbox log of the section `empty`, which has no samples, and `nav`, as continuous() has them in
/// narrower types with an output behind.
std::string blackbox(const std::vector<std::string>& samples) {
  const TestFolder folder;
  telemetry::BlackboxWriter writer;
  EXPECT_EQ(writer.open(folder.path("log"), {{"ro.hardware", "quad-x"}}), 0);
  writer.addSection("empty", {{"b", TLM_VAR_BOOL, 4, 1}});
  const int nav = writer.addSection("nav", {{"a.y", TLM_VAR_UINT8, 1, 1},
                                            {"index", TLM_VAR_INT32, 1, 4},
                                            {"a.x", TLM_VAR_FLOAT, 1, 4},
                                            {"out", static_cast<tlm_var_type>(77), 1, 2}});
  for (const std::string& sample : samples) {
    EXPECT_EQ(writer.sample(static_cast<unsigned>(nav), {}, sample.data(), sample.size()), 0);
  }
  EXPECT_EQ(writer.close(), 0);
  return readFile(folder.path("log"));
}

std::string sampled(std::uint8_t y, std::int32_t index, float x, std::uint16_t out = 7) {
  return packed(y, index, x, out);
}

const std::string FLIGHT = continuous({values({0, 0.1, 1}), values({1, 0.2, 2}), values({2, 0.3, 259})});
const std::string REPLAY = blackbox({sampled(1, 0, 0.1F), sampled(2, 1, 0.2F), sampled(3, 2, 0.3F)});
const std::string CALLS = calls({event(3, 1, {5, 6}), event(3, 0), event(8, 0)});

const std::string LOW = continuous({values({0, 1.5, 1})});
const std::string HIGH = continuous({values({0, 1.75, 1})});
const std::string ZERO = continuous({values({0, 0.0, 1})});
const std::string MINUS_ZERO = continuous({values({0, -0.0, 1})});
const std::string NOT_NUMBERS = continuous({values({NOT_A_NUMBER, NOT_A_NUMBER, 1})});
const std::string OTHER_NOT_NUMBERS = continuous({values({NOT_A_NUMBER, -NOT_A_NUMBER, 1})});
const std::string OTHER_X = continuous({values({0, 0.1, 1}), values({1, 0.5, 2}), values({2, 0.75, 259})});
const std::string OTHER_STEPS = continuous({values({0, 0.1, 1}), values({2, 0.3, 259}), values({3, 0, 0})});
const std::string OTHER_INDEX =
    continuous({values({4, 0.1, 1}), values({8, 0.2, 2}), values({9, 0.3, 259})});
const std::string BACK = continuous({values({5, 0, 0}), values({5, 1, 1}), values({2, 2, 2})});
const std::string OTHER_BACK = continuous({values({5, 0, 0}), values({5, 1, 1}), values({2, 3, 2})});
const std::string BRACKETS = continuousHeader({"a[0]"});
const std::string OTHER_OUT =
    blackbox({sampled(1, 0, 0.1F), sampled(2, 1, 0.2F, 519), sampled(3, 2, 0.3F)});
const std::string OTHER_ARGUMENT = calls({event(3, 1, {5, 7}), event(3, 0), event(8, 0)});
const std::string OTHER_ORDER = calls({event(3, 0), event(3, 1, {5, 6}), event(8, 0)});
const std::string OTHER_STEP = calls({event(3, 1, {5, 6}), event(3, 0), event(7, 0)});
const std::string OTHER_LAYOUT =
    eventHeader("move, land", "2, 0", "by, to, none") + event(3, 0, {6, 5}) + event(3, 1) + event(8, 1);

struct Diff : Row {
  std::string a, b;
  const char* options;
  int exitStatus;
  const char* said;
};

class LogDiff : public testing::TestWithParam<Diff> {};

TEST_P(LogDiff, TellsWhatDiffers) {
  const TestFolder folder;
  std::vector<std::string> arguments = {"diff", folder.write("a", GetParam().a),
                                        folder.write("b", GetParam().b)};
  std::istringstream options(GetParam().options);
  for (std::string option; options >> option;) arguments.push_back(option);
  const ProgramResult result = runProgram(OSTREL_LOG, arguments);
  EXPECT_EQ(result.exitStatus, GetParam().exitStatus);
  EXPECT_THAT(result.out + result.err, HasSubstr(GetParam().said));
}

const Diff DIFFS[] = {
    {"Same", FLIGHT, FLIGHT, "", 0, "same: 3 steps, 3 variables\n"},
    {"FirstValue", FLIGHT, OTHER_X, "", 1, "first: index 1, a.x: 0.2 in A, 0.5 in B\n"},
    {"Patterns", FLIGHT, OTHER_X, "--only *.y --only index", 0, "same: 3 steps, 2 variables"},
    {"BracketsInAName", BRACKETS + values({1}), BRACKETS + values({2}), "--only a[0]", 1,
     "index 0, a[0]: 1"},
    {"NamesNothing", FLIGHT, FLIGHT, "--only b.*", 2, "--only: names nothing"},
    {"StepsInTheMiddle", FLIGHT, OTHER_STEPS, "--only a.*", 1, "first: index 1, a step only in A\n"},
    {"ByRecord", FLIGHT, OTHER_INDEX, "--by-record --only a.*", 0, "same: 3 steps, 2 variables"},
    {"IndicesRepeatAndGoBack", BACK, OTHER_BACK, "", 1, "first: index 2, a.x: 2 in A, 3 in B"},
    {"NotNumbers", NOT_NUMBERS, OTHER_NOT_NUMBERS, "", 0, "same"},
    {"SignOfZero", MINUS_ZERO, ZERO, "", 1, "a.x: -0 in A, 0 in B"},
    {"SignOfZeroWithTolerance", MINUS_ZERO, ZERO, "--tolerance 0", 0, "same"},
    {"AtTheTolerance", LOW, HIGH, "--tolerance 0.25", 0, "same"},
    {"BeyondTheTolerance", LOW, HIGH, "--tolerance 0.24", 1, "a.x: 1.5 in A, 1.75 in B"},
    // 0.1 becomes the nearest float, 259 the 3 that a byte keeps of it.
    {"Replay", FLIGHT, REPLAY, "--only a.* --only index", 0, "same: 3 steps, 3 variables"},
    {"ReplayHasOutputs", REPLAY, FLIGHT, "", 1, "variables only in A: 1 (out)\n"},
    {"TypeWithoutAName", REPLAY, OTHER_OUT, "", 1, "index 1, out[1]: 0 in A, 2 in B"},
    {"CutReplay", FLIGHT, cutBy(REPLAY, 20), "--only a.*", 2, "b: cut short after byte "},
    {"ArgumentsByName", CALLS, OTHER_LAYOUT, "", 0, "same: 3 calls, 2 arguments"},
    {"OtherArgument", CALLS, OTHER_ARGUMENT, "", 1, "index 3, move.by: 6 in A, 7 in B"},
    {"OtherOrderOfCalls", CALLS, OTHER_ORDER, "", 1, "index 3, call: move in A, land in B"},
    {"CallAtAnotherStep", CALLS, OTHER_STEP, "", 1, "index 7, a call of land only in B"},
    {"CallsAndSamples", CALLS, FLIGHT, "", 2, "only one of the two is an event log"},
    {"NoColumns", FLIGHT, header("nentries : 0\n"), "", 2, "b: its header has no 'titles' entry"},
};
INSTANTIATE_ROWS(LogDiff, DIFFS);

struct Info : Row {
  std::string log;
  int exitStatus;
  const char* path;  // to a value in the JSON of the log
  nlohmann::json value;
};

class LogInfo : public testing::TestWithParam<Info> {};

TEST_P(LogInfo, DescribesTheLog) {
  const TestFolder folder;
  const std::string log = folder.write("log", GetParam().log);
  const ProgramResult result = runProgram(OSTREL_LOG, {"info", "--json", log});
  EXPECT_EQ(result.exitStatus, GetParam().exitStatus) << result.err;
  const auto logs = nlohmann::json::parse(result.out);
  EXPECT_EQ(logs.at(0).value(nlohmann::json::json_pointer(GetParam().path), nlohmann::json("none")),
            GetParam().value);
  EXPECT_EQ(runProgram(OSTREL_LOG, {"info", "--columns", log}).exitStatus, GetParam().exitStatus);
}

const std::string GAPS = continuous(
    {values({-3, 0, 0}), values({0, 0, 0}), values({4, 0, 0}), values({4, 0, 0}), values({1, 0, 0})});

const Info INFOS[] = {
    {"Gaps", GAPS, 0, "/index/gaps/largest", {{"after", 0}, {"missing", 3}}},
    {"CutRecord", cutBy(FLIGHT, 8), 3, "/end/byte", FLIGHT.size() - 24},
    {"Apis", CALLS, 0, "/apis/0/records", 2},
    {"Steps", CALLS, 0, "/steps", {{"first", 3}, {"last", 8}, {"backwards", 0}}},
    {"CutCall", CALLS + event(9, 1, {1, 2}).substr(0, 39), 3, "/end/byte", CALLS.size()},
    {"CallOfNoSize", CALLS + values({NOT_A_NUMBER, 9, 0}), 3, "/end/state", "damaged"},
    {"CallWithAnArgumentTooMany", CALLS + event(9, 0, {1}), 3, "/end/byte", CALLS.size()},
    {"Section", REPLAY, 0, "/sections/1/index/last", 2},
    {"SectionWithoutSamples", REPLAY, 0, "/sections/0/variables/0/elements", 4},
    {"NotClosed", cutBy(REPLAY, 20), 3, "/end/byte", REPLAY.size() - 20},
    {"CutSample", cutBy(REPLAY, 21), 3, "/sections/1/records", 2},
    {"Flipped", std::string(REPLAY).replace(REPLAY.size() - 22, 1, "?"), 3, "/end/state", "damaged"},
    {"CutAfterTheMagic", "TLMB", 3, "/end/state", "cut"},
    {"NoLog", "text", 1, "/error",
     "no flight log: neither the start of a blackbox log nor a legacy header"},
};
INSTANTIATE_ROWS(LogInfo, INFOS);

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
