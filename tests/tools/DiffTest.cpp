#include <gmock/gmock.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "LogTool.hpp"

namespace {

ProgramResult same(const std::string& counts) {
  return {0, "same: " + counts + "\n", ""};
}
const ProgramResult SAME = same("1 step, 1 variable");
/// The logs can't be compared, or not all of them: `out` holds what could be.
ProgramResult trouble(const std::string& line, const std::string& out = "") {
  return {2, out, "ostrelLog: " + line + "\n"};
}
const std::string READABLE = "no difference up to the end of what can be read: ";
ProgramResult different(const std::string& lines) {
  return {1, "different\n" + lines, ""};
}
/// The lines below the names of the logs, which have so many steps or calls.
ProgramResult different(const std::string& countA, const std::string& countB, const std::string& lines) {
  return different("  A: a, " + countA + "\n  B: b, " + countB + "\n" + lines);
}
/// The logs differ in one element of one record.
ProgramResult oneDiffers(const std::string& element, const std::string& inA, const std::string& inB,
                         std::string difference, const std::string& counts = "1 step",
                         const std::string& index = "0", const std::string& section = "") {
  difference.resize(20, ' ');
  const std::string name = element.substr(0, element.find('['));
  const std::string noun = counts.find("call") == std::string::npos ? "steps" : "calls";
  return different(counts, counts,
                   section + "  first: index " + index + ", " + element + ": " + inA + " in A, " + inB +
                       " in B\n      " + noun + "  largest       from index  difference in\n" +
                       "          1  " + difference + "   " + index + "  " + name + "\n");
}
/// The same for the logs of withV().
ProgramResult vDiffers(const std::string& element, const std::string& inA, const std::string& inB,
                       const std::string& difference) {
  return oneDiffers(element, inA, inB, difference, "1 step", "0", "  section: nav\n");
}

std::string withX(std::initializer_list<double> samples, const char* column = "x") {
  return continuousHeader({column}) + values(samples);
}
const std::string XIY = continuousHeader({"x", "index", "y"});
const std::string FLIGHT = XIY + values({0.5, 1, 1, 2, 2, 2, 3, 3, 259});

using telemetry::VarDesc;
const VarDesc X = {"x", TLM_VAR_FLOAT, 1, 4}, Y = {"y", TLM_VAR_UINT8, 1, 1},
              OUT = {"out", TLM_VAR_INT32, 1, 4};
/// The blackbox log of a replay of FLIGHT, with an output behind the inputs.
const std::string REPLAY = BlackboxBuilder()
                               .addSection(7, "nav", {Y, INDEX, X, OUT})
                               .sample(7, 0, 0, packed('\1', 1, 0.5F, 7))
                               .sample(7, 0, 0, packed('\2', 2, 2.0F, 8))
                               .sample(7, 0, 0, packed('\3', 3, 3.0F, 9))
                               .end()
                               .bytes;

/// Logs whose section has another order of variables from the second sample on.
BlackboxBuilder section() {
  return BlackboxBuilder().addSection(0, "nav", {INDEX, OUT}).sample(0, 0, 0, packed(1, 6));
}
const std::string UNCHANGED = section().sample(0, 0, 0, packed(2, 6)).end().bytes;
const std::string REORDERED =
    section().changeSection(0, "nav", {OUT, INDEX}).sample(0, 0, 0, packed(6, 2)).end().bytes;

/// A blackbox log of one sample of the variable v.
template <class... Elements>
std::string withV(std::uint32_t type, Elements... elements) {
  const std::string sample = packed(elements...);
  const VarDesc v = {"v", static_cast<tlm_var_type>(type), sizeof...(elements),
                     sample.size() / sizeof...(elements)};
  return BlackboxBuilder().addSection(0, "nav", {v}).sample(0, 0, 0, sample).end().bytes;
}
const std::string V123 = withV(TLM_VAR_INT32, 1, 2, 3), V246 = withV(TLM_VAR_INT32, 2, 4, 6);

const std::string FLOWN = callsOf(move(3, 5, 6) + land(3) + land(8));

struct DiffRow : Row {
  std::string a, b;     ///< the bytes of the logs
  std::string options;  ///< separated by blanks
  ProgramResult result;
};

const DiffRow ROWS[] = {
    {"Same", FLIGHT, FLIGHT, "", same("3 steps, 3 variables")},
    {"LargestDifferenceOfEachVariable", FLIGHT, XIY + values({0.5, 1, 1, -3, 2, 2, 102.1, 3, 260}), "",
     different("3 steps", "3 steps",
               "  first: index 2, x: 2 in A, -3 in B\n"
               "      steps  largest       from index  difference in\n"
               "          2  99.1                   2  x\n"
               "          1  1                      3  y\n")},
    {"NaN", withX({NAN}), withX({7}), "", oneDiffers("x", "nan", "7", "inf")},
    {"SignOfZero", withX({-0.0}), withX({0}), "", oneDiffers("x", "-0", "0", "0")},
    {"SignOfZeroWithTolerance", withX({-0.0}), withX({0}), "--tolerance 0", SAME},
    // A leading zero leaves the tolerance decimal.
    {"AtTheTolerance", withX({1.5}), withX({11.5}), "--tolerance 010", SAME},
    {"AboveTheTolerance", withX({1}), withX({12}), "--tolerance 010", oneDiffers("x", "1", "12", "11")},
    {"OtherStepsMissing", withX({1, 4, 6}, "index"), withX({1, 2, 3}, "index"), "",
     different(
         "3 steps", "3 steps",
         "  first: index 2, a step only in B\n  steps only in A: 2, from index 4\n"
         "  steps only in B: 2, from index 2\n"
         "  hint: the index has gaps in A and none in B; --by-record compares the steps by their number "
         "instead\n")},
    {"ByRecord", withX({0, 4, 5}, "index"), withX({0, 4, 8}, "index"), "--by-record",
     oneDiffers("index", "5", "8", "3", "3 steps", "2")},
    {"EightAndNineColumnsOfOneLog", header("nentries : 8\ntitles : a,b,c,d,e,f,g,h\n"),
     header("nentries : 9\ntitles : q,r,s,t,u,v,w,x,y\n"), "",
     trouble("a, b: nothing was compared: no step in common",
             different("0 steps", "0 steps",
                       "  variables only in A: 8 (a, b, c, d, e, f, g, h)\n"
                       "  variables only in B: 9 (q, r, s, t, u, v, w, x, ...)\n")
                 .out)},
    {"LastColumnOfAName", continuousHeader({"x", "x"}) + values({1, 2}), withX({2}), "", SAME},
    {"CutBehindTheLastRecord", FLIGHT + "x", FLIGHT, "",
     trouble("a: cut short after byte " + std::to_string(FLIGHT.size()),
             READABLE + "3 steps, 3 variables\n")},
    {"NoLog", FLIGHT, header("nentries : 0\n"), "", trouble("b: its header has no 'titles' entry")},

    // The output is only in the replay, which stores the 3 that a byte keeps of 259.
    {"ReplayOfALegacyLog", FLIGHT, REPLAY, "",
     different("3 steps", "3 steps", "  section: nav in B\n  variables only in B: 1 (out)\n")},
    {"MiddleElement", V123, withV(TLM_VAR_INT32, 1, -9, 4), "", vDiffers("v[1]", "2", "-9", "11")},
    {"LargestDifferenceInTheLastElement", V123, V246, "", vDiffers("v[0]", "1", "2", "3")},
    {"ElementsWithinTheTolerance", V123, V246, "--tolerance 2", vDiffers("v[2]", "3", "6", "3")},
    {"OtherNumberOfElements", V123, withV(TLM_VAR_INT32, 1, 2), "",
     trouble("a, b: nothing was compared: no variable in common",
             different("1 step", "1 step",
                       "  section: nav\n  variables only in A: 1 (v)\n  variables only in B: 1 (v)\n")
                 .out)},
    {"IntegersThatNoDoubleHolds", withV(TLM_VAR_UINT64, ~0UL), withV(TLM_VAR_UINT64, ~1UL), "",
     vDiffers("v", "18446744073709551615", "18446744073709551614", "1")},
    {"Booleans", withV(TLM_VAR_BOOL, true, false), withV(TLM_VAR_BOOL, '\5', true), "",
     vDiffers("v[1]", "false", "true", "1")},
    {"UnknownType", withV(77, short{7}), withV(77, short{519}), "", vDiffers("v[1]", "0", "2", "2")},
    {"SectionOfAThatIsReordered", REORDERED, UNCHANGED, "", same("2 steps, 2 variables, section nav")},
    {"SectionOfBThatIsReordered", UNCHANGED, REORDERED, "", same("2 steps, 2 variables, section nav")},

    {"SectionOfAThatIsRenamed",
     section().changeSection(0, "sun", {OUT, INDEX}).sample(0, 0, 0, packed(6, 2)).end().bytes, UNCHANGED,
     "",
     different("1 step", "2 steps",
               "  section: nav\n  first: index 2, a step only in B\n"
               "  steps only in B: 1, from index 2\n  sections only in A: 1 (sun)\n")},

    {"ArgumentsByName", callsOf(move(3, 5, 6)), eventHeader("move", "2", "by, to") + event(3, 0, {6, 5}),
     "", same("1 call, 2 arguments")},
    {"MissingArgument", callsOf(event(3, 1, {5})), callsOf(move(3, 5, 0)), "",
     trouble("a: not fully compared: 1 call with another number of arguments than the header names",
             oneDiffers("move.by", "nan", "0", "inf", "1 call", "3").out)},
    {"CallOfAnApiThatIsNotNamed", FLOWN, FLOWN + event(8, 2), "",
     trouble("b: not fully compared: 1 call of an API that the header does not name, not counted as calls",
             READABLE + "3 calls, 2 arguments\n")},
    {"Call", FLOWN, callsOf(move(3, 5, 6) + land(3) + move(8, 1, 2)), "",
     oneDiffers("call", "land", "move", "-", "3 calls", "8")},
    {"StepOfACall", FLOWN, callsOf(move(3, 5, 6) + land(3) + land(7)), "",
     different("3 calls", "3 calls",
               "  first: index 7, a call of land only in B\n  calls only in A: 1, from index 8\n"
               "  calls only in B: 1, from index 7\n")},
    {"OnlyAnArgument", FLOWN, callsOf(move(3, 9, 6)), "--only move.by", same("1 call, 1 argument")},
    {"OnlyAllArgumentsOfAnApi", FLOWN, callsOf(move(3, 9, 6)), "--only move",
     oneDiffers("move.to", "5", "9", "4", "1 call", "3")},
    {"Samples", FLOWN, FLIGHT, "", trouble("b: can't be compared: only one of the two is an event log")},
};

class DiffTest : public LogTool, public testing::WithParamInterface<DiffRow> {};

TEST_P(DiffTest, TellsWhatDiffers) {
  folder.write("a", GetParam().a);
  folder.write("b", GetParam().b);
  expectRun("diff a b " + GetParam().options, GetParam().result);
}
INSTANTIATE_ROWS(DiffTest, ROWS);

/// A section of a blackbox log with one value of x for each of the steps from 0.
struct Section {
  std::string name;
  std::vector<int> x;
};

std::string blackbox(const std::vector<Section>& sections) {
  BlackboxBuilder log;
  std::uint32_t id = 0;
  for (const Section& section : sections) {
    log.addSection(++id, section.name, {{"index", TLM_VAR_INT32, 1, 4}, {"x", TLM_VAR_INT32, 1, 4}});
    int step = 0;
    for (const int x : section.x) log.sample(id, 0, 0, packed(step++, x));
  }
  return log.end().bytes;
}

const std::string NAVDATA = blackbox({{"navdata", {1, 2}}});
const std::string REPLAYED = blackbox({{"unused", {}}, {"navdata-replay", {1, 2}}});
const std::string NAV_GPS = blackbox({{"nav", {1, 2}}, {"gps", {7}}});
const std::string GPS_NAV = blackbox({{"gps", {7}}, {"nav", {1, 2}}});
const std::string EMPTY = blackbox({{"nav", {}}});
const std::string LEGACY = continuousHeader({"index", "x"}) + values({0, 1, 1, 2});

const DiffRow PAIRINGS[] = {
    {"OnlyOnesWithSamples", NAVDATA, REPLAYED, "",
     same("2 steps, 2 variables, sections navdata in A, navdata-replay in B")},
    {"SeveralBesideALegacyLog", NAV_GPS, LEGACY, "",
     trouble("a: has several sections with samples, choose one with --section: gps, nav")},
    {"NoneBesideALegacyLog", LEGACY, EMPTY, "", trouble("b: has no section with samples")},
    {"ChosenBesideALegacyLog", NAV_GPS, LEGACY, "--section nav",
     same("2 steps, 2 variables, section nav in A")},
    {"InAnotherOrder", NAV_GPS, GPS_NAV, "",
     same("1 step, 2 variables, section gps\nsame: 2 steps, 2 variables, section nav")},
    {"OneOfTwoDiffers", NAV_GPS, blackbox({{"gps", {7}}, {"nav", {1, 5}}}), "",
     different("  A: a\n  B: b\n  section: gps, same: 1 step, 2 variables\n"
               "  section: nav, 2 steps in A, 2 steps in B\n  first: index 1, x: 2 in A, 5 in B\n"
               "      steps  largest       from index  difference in\n"
               "          1  3                      1  x\n")},
    {"InOneLogOnly", NAV_GPS, blackbox({{"nav", {1, 2}}, {"wind", {7}}, {"sun", {7}}}), "",
     different("  A: a, 2 steps\n  B: b, 2 steps\n  section: nav\n  sections only in A: 1 (gps)\n"
               "  sections only in B: 2 (sun, wind)\n")},
    {"NamedOne", NAV_GPS, GPS_NAV, "--section gps", same("1 step, 2 variables, section gps")},
    {"NamedPair", NAV_GPS, REPLAYED, "--section nav=navdata-replay",
     same("2 steps, 2 variables, sections nav in A, navdata-replay in B")},
    {"NamedPairThatOneLogLacks", NAV_GPS, GPS_NAV, "--section nav=sun", trouble("b: has no section sun")},
    {"NamedPairWithoutAName", NAV_GPS, GPS_NAV,
     "--section nav=", trouble("--section: must be NAME or A=B (see ostrelLog diff --help)")},
    {"NamedOfLegacyLogs", LEGACY, LEGACY, "--section nav",
     trouble("--section: none of the logs has sections")},
    {"TwoEmptyReplays", EMPTY, EMPTY, "",
     trouble("a, b: nothing was compared: no section with samples in common")},
    {"TwoEmptyReplaysByName", EMPTY, EMPTY, "--section nav",
     trouble("a, b: nothing was compared: no step in common")},
    {"NoCall", callsOf(""), callsOf(""), "", trouble("a, b: nothing was compared: no call in common")},
};
INSTANTIATE_TEST_SUITE_P(Pairings, DiffTest, testing::ValuesIn(PAIRINGS),
                         testing::PrintToStringParamName());

/// A blackbox log with one sample of one variable.
std::string withSample(const VarDesc& variable, const std::string& sample) {
  return BlackboxBuilder().addSection(0, "nav", {variable}).sample(0, 0, 0, sample).end().bytes;
}
const VarDesc V = {"v", TLM_VAR_INT32, 2, 4};
const std::string V12 = withSample(V, packed(1, 2)), V19 = withSample(V, packed(1, 9));
const std::string ACC = continuousHeader({"acc[0].x", "acc[1].x", "acc0.x"});

const DiffRow VALUES[] = {
    {"IndexInAPattern", ACC + values({1, 2, 3}), ACC + values({1, 8, 8}), "--only acc[0].*",
     same("1 step, 1 variable")},
    {"SetOfCharactersInAPattern", ACC + values({1, 2, 3}), ACC + values({1, 8, 3}), "--only acc[0-9].*",
     same("1 step, 1 variable")},
    {"OtherElement", V12, V19, "--only v[0]", same("1 step, 1 variable, section nav")},
    {"SelectedElement", V12, V19, "--only v[1]",
     different("  A: a, 1 step\n  B: b, 1 step\n  section: nav\n  first: index 0, v[1]: 2 in A, 9 in B\n"
               "      steps  largest       from index  difference in\n"
               "          1  7                      0  v[1]\n")},
    {"FloatAndDouble", withSample({"x", TLM_VAR_FLOAT, 1, 4}, packed(0.1F)),
     withSample({"x", TLM_VAR_DOUBLE, 1, 8}, packed(0.1)), "",
     different("  A: a, 1 step\n  B: b, 1 step\n  section: nav\n"
               "  first: index 0, x: 0.10000000149011612 (float) in A, 0.1 (double) in B\n"
               "      steps  largest       from index  difference in\n"
               "          1  1.49012e-09            0  x\n")},
};
INSTANTIATE_TEST_SUITE_P(Values, DiffTest, testing::ValuesIn(VALUES), testing::PrintToStringParamName());

using DiffJson = LogTool;

TEST_F(DiffJson, HoldsAllThatTheTextSays) {
  folder.write("a", blackbox({{"nav", {1, 2, 3}}, {"sun", {}}, {"gps", {7}}}));
  folder.write("b", blackbox({{"nav", {1, 5}}}));
  EXPECT_EQ(nlohmann::json::parse(run("diff a b --json").out), nlohmann::json::parse(R"({
    "answer": "different", "error": null, "records": "steps",
    "a": {"file": "a", "end": {"state": "whole", "byte": null, "reason": ""}, "sectionsAlone": ["gps"]},
    "b": {"file": "b", "end": {"state": "whole", "byte": null, "reason": ""}, "sectionsAlone": []},
    "compared": [{"same": false, "pairs": 2, "sharedVariables": 2, "tryByRecord": false,
      "a": {"section": "nav", "records": 3, "recordsAlone": 1, "firstAlone": 2, "variablesAlone": []},
      "b": {"section": "nav", "records": 2, "recordsAlone": 0, "firstAlone": null, "variablesAlone": []},
      "first": {"index": 1, "what": "x", "a": "2", "b": "5"},
      "differences": [{"name": "x", "records": 1, "largest": 3.0, "firstIndex": 1}]}]})"));
}

using Version = LogTool;

TEST_F(Version, IsTheReleaseWithAnyCommitAndTheTelemetryLibrary) {
  EXPECT_THAT(run("--version").out, testing::MatchesRegex("ostrelLog 1\\.0\\.0( .commit [0-9a-f]+.)?\n"
                                                          "Telemetry library : .*/libtelemetry.so.1\n"));
}

}  // namespace
