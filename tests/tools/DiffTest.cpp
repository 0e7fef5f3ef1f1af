#include <cmath>

#include "LogTool.hpp"

namespace {

struct DiffRow : Row {
  std::string a, b;     ///< the bytes of the logs
  std::string options;  ///< separated by blanks
  ProgramResult result;
};

class DiffTest : public LogTool, public testing::WithParamInterface<DiffRow> {};

TEST_P(DiffTest, TellsWhatDiffers) {
  folder.write("a", GetParam().a);
  folder.write("b", GetParam().b);
  expectRun("diff a b " + GetParam().options, GetParam().result);
}

ProgramResult same(const std::string& counts) {
  return {0, "same: " + counts + "\n", ""};
}
/// The logs can't be compared, or only up to the place that `line` names.
ProgramResult trouble(const std::string& line, const std::string& readable = "") {
  const char* const start = readable.empty() ? "" : "no difference up to the end of what can be read: ";
  return {2, start + readable, "ostrelLog: " + line + "\n"};
}
/// The lines below the names of the logs, which have so many steps or calls.
ProgramResult different(const std::string& countA, const std::string& countB, const std::string& lines) {
  return {1, "different\n  A: a, " + countA + "\n  B: b, " + countB + "\n" + lines, ""};
}
/// The logs differ in one element of one record.
ProgramResult oneDiffers(const std::string& element, const std::string& inA, const std::string& inB,
                         std::string difference, const std::string& counts = "1 steps",
                         const std::string& index = "0") {
  difference.resize(20, ' ');
  const std::string name = element.substr(0, element.find('[')), noun = counts.substr(counts.find(' '));
  return different(counts, counts,
                   "  first: index " + index + ", " + element + ": " + inA + " in A, " + inB + " in B\n" +
                       "     " + noun + "  largest       from index  difference in\n" + "          1  " +
                       difference + "   " + index + "  " + name + "\n");
}

/// A continuous log of the columns index, x and y.
std::string continuous(std::initializer_list<double> samples) {
  return continuousHeader({"index", "x", "y"}) + values(samples);
}
/// A continuous log of one column.
std::string withX(std::initializer_list<double> samples, const char* column = "x") {
  return continuousHeader({column}) + values(samples);
}
const std::string FLIGHT = continuous({0, 0.5, 1, 1, 2, 2, 2, 3, 259});
const std::string EIGHT = continuousHeader({"a", "b", "c", "d", "e", "f", "g", "h"});
const std::string NINE = continuousHeader({"a", "b", "c", "d", "e", "f", "g", "h", "i"});

const DiffRow SAMPLES[] = {
    {"Same", FLIGHT, FLIGHT, "", same("3 steps, 3 variables")},
    {"LargestDifferenceOfEachVariable", FLIGHT, continuous({0, 0.5, 1, 1, -3, 2, 2, 102.123456, 260}), "",
     different("3 steps", "3 steps",
               "  first: index 1, x: 2 in A, -3 in B\n"
               "      steps  largest       from index  difference in\n"
               "          2  99.1235                1  x\n"
               "          1  1                      2  y\n")},
    {"NaN", withX({NAN}), withX({7}), "", oneDiffers("x", "nan", "7", "inf")},
    {"NaNEqualsNaN", withX({NAN}), withX({-NAN}), "", same("1 steps, 1 variables")},
    {"SignOfZero", withX({-0.0}), withX({0}), "", oneDiffers("x", "-0", "0", "0")},
    {"SignOfZeroWithTolerance", withX({-0.0}), withX({0}), "--tolerance 0", same("1 steps, 1 variables")},
    {"AtTheTolerance", withX({1.5}), withX({1.75}), "--tolerance 0.25", same("1 steps, 1 variables")},
    {"ToleranceWithALeadingZero", withX({1}), withX({10}), "--tolerance 010", same("1 steps, 1 variables")},
    {"AboveTheTolerance", withX({1.5}), withX({1.75}), "--tolerance 0.24",
     oneDiffers("x", "1.5", "1.75", "0.25")},
    {"BelowTheTolerance", withX({1.75}), withX({1.5}), "--tolerance 0.24",
     oneDiffers("x", "1.75", "1.5", "0.25")},
    {"FirstStepMissing", FLIGHT, continuous({1, 2, 2, 2, 3, 259}), "",
     different("3 steps", "2 steps",
               "  first: index 0, a step only in A\n  steps only in A: 1, from index 0\n")},
    {"OtherStepsMissing", withX({1, 4, 6}, "index"), withX({1, 2, 3}, "index"), "",
     different("3 steps", "3 steps",
               "  first: index 2, a step only in B\n  steps only in A: 2, from index 4\n"
               "  steps only in B: 2, from index 2\n")},
    {"ByRecord", withX({0, 4, 5}, "index"), withX({0, 4, 8}, "index"), "--by-record",
     oneDiffers("index", "5", "8", "3", "3 steps", "2")},
    {"OnlyOtherVariables", FLIGHT, continuous({0, 9, 1, 1, 9, 2, 2, 9, 259}), "--only y --only in*",
     same("3 steps, 2 variables")},
    {"OnlyTheColumnWithBrackets", withX({1}, "a[0]"), withX({1}, "a[0]"), "--only a[0]",
     same("1 steps, 1 variables")},
    {"OnlyNothing", FLIGHT, FLIGHT, "--only z", trouble("--only: names nothing that the logs hold")},
    {"EightColumnsOfOneLog", withX({}), EIGHT, "",
     different("0 steps", "0 steps",
               "  variables only in A: 1 (x)\n  variables only in B: 8 (a, b, c, d, e, f, g, h)\n")},
    {"NineColumnsOfOneLog", NINE, withX({}), "",
     different("0 steps", "0 steps",
               "  variables only in A: 9 (a, b, c, d, e, f, g, h, ...)\n  variables only in B: 1 (x)\n")},
    {"LastColumnOfAName", continuousHeader({"x", "x"}) + values({1, 2}), withX({2}), "",
     same("1 steps, 1 variables")},
    {"CutBehindTheLastRecord", FLIGHT, FLIGHT + "x", "",
     trouble("b: cut short after byte " + std::to_string(FLIGHT.size()), "3 steps, 3 variables\n")},
    {"NoLog", FLIGHT, header("nentries : 0\n"), "", trouble("b: its header has no 'titles' entry")},
};
INSTANTIATE_TEST_SUITE_P(Samples, DiffTest, testing::ValuesIn(SAMPLES), testing::PrintToStringParamName());

using telemetry::VarDesc;

const VarDesc INDEX = {"index", TLM_VAR_INT32, 1, 4}, X = {"x", TLM_VAR_FLOAT, 1, 4},
              Y = {"y", TLM_VAR_UINT8, 1, 1}, OUT = {"out", TLM_VAR_BOOL, 1, 1};
/// The blackbox log of a replay of FLIGHT, with an output behind the inputs. Its end takes 20 bytes.
const std::string REPLAY = BlackboxBuilder()
                               .addSection(7, "nav", {Y, INDEX, X, OUT})
                               .sample(7, 0, 0, packed('\1', 0, 0.5F, false))
                               .sample(7, 0, 0, packed('\2', 1, 2.0F, true))
                               .sample(7, 0, 0, packed('\3', 2, 3.0F, true))
                               .end()
                               .bytes;

/// Logs whose section has another order of variables, or another name, from the second sample on.
const VarDesc N = {"n", TLM_VAR_INT32, 1, 4};
BlackboxBuilder section() {
  return BlackboxBuilder().addSection(0, "nav", {INDEX, N}).sample(0, 0, 0, packed(1, 6));
}
const std::string UNCHANGED = section().sample(0, 0, 0, packed(2, 6)).end().bytes;
const std::string REORDERED =
    section().changeSection(0, "nav", {N, INDEX}).sample(0, 0, 0, packed(6, 2)).end().bytes;
const std::string RENAMED =
    section().changeSection(0, "other", {INDEX, N}).sample(0, 0, 0, packed(2, 6)).end().bytes;

/// A blackbox log of one sample of the variable v.
template <class... Elements>
std::string withV(std::uint32_t type, Elements... elements) {
  const std::string sample = packed(elements...);
  const VarDesc v = {"v", static_cast<tlm_var_type>(type), sizeof...(elements),
                     sample.size() / sizeof...(elements)};
  return BlackboxBuilder().addSection(0, "nav", {v}).sample(0, 0, 0, sample).end().bytes;
}
const std::string V123 = withV(TLM_VAR_INT32, 1, 2, 3);

const DiffRow BLACKBOX_LOGS[] = {
    // A replay of 259 stores the 3 that a byte keeps of it.
    {"ReplayOfALegacyLog", FLIGHT, REPLAY, "--only ? --only index", same("3 steps, 3 variables")},
    {"OutputsOfAReplay", REPLAY, FLIGHT, "",
     different("3 steps", "3 steps", "  variables only in A: 1 (out)\n")},
    {"FirstElement", V123, withV(TLM_VAR_INT32, 9, 2, 4), "", oneDiffers("v[0]", "1", "9", "8")},
    {"MiddleElement", V123, withV(TLM_VAR_INT32, 1, -9, 4), "", oneDiffers("v[1]", "2", "-9", "11")},
    {"LastElement", V123, withV(TLM_VAR_INT32, 1, 2, 9), "", oneDiffers("v[2]", "3", "9", "6")},
    {"LargestDifferenceInTheLastElement", V123, withV(TLM_VAR_INT32, 2, 4, 6), "",
     oneDiffers("v[0]", "1", "2", "3")},
    {"ElementsWithinTheTolerance", V123, withV(TLM_VAR_INT32, 2, 4, 6), "--tolerance 2",
     oneDiffers("v[2]", "3", "6", "3")},
    {"OtherNumberOfElements", V123, withV(TLM_VAR_INT32, 1, 2), "",
     different("1 steps", "1 steps", "  variables only in A: 1 (v)\n  variables only in B: 1 (v)\n")},
    {"IntegersThatNoDoubleHolds", withV(TLM_VAR_UINT64, ~0UL), withV(TLM_VAR_UINT64, ~1UL), "",
     oneDiffers("v", "18446744073709551615", "18446744073709551614", "1")},
    {"Booleans", withV(TLM_VAR_BOOL, true, false), withV(TLM_VAR_BOOL, '\5', true), "",
     oneDiffers("v[1]", "false", "true", "1")},
    {"BytesOfAnUnknownType", withV(77, std::uint16_t{7}), withV(77, std::uint16_t{519}), "",
     oneDiffers("v[1]", "0", "2", "2")},
    {"SectionOfAThatIsReordered", REORDERED, UNCHANGED, "", same("2 steps, 2 variables")},
    {"SectionOfBThatIsReordered", UNCHANGED, REORDERED, "", same("2 steps, 2 variables")},
    {"FirstSectionWithSamples", UNCHANGED, RENAMED, "",
     different("2 steps", "1 steps",
               "  first: index 2, a step only in A\n  steps only in A: 1, from index 2\n")},
    {"NamedSection", RENAMED, RENAMED, "--section other", same("1 steps, 2 variables")},
    {"NoSuchSection", RENAMED, UNCHANGED, "--section other", trouble("b: has no section other")},
    {"UnclosedReplay", cutBy(20, REPLAY), FLIGHT, "--only x",
     trouble("a: cut short after byte " + std::to_string(REPLAY.size() - 20), "3 steps, 1 variables\n")},
};
INSTANTIATE_TEST_SUITE_P(BlackboxLogs, DiffTest, testing::ValuesIn(BLACKBOX_LOGS),
                         testing::PrintToStringParamName());

const std::string FLOWN = callsOf(move(3, 5, 6) + land(3) + land(8));
const std::string OTHER_LAYOUT =
    eventHeader("move, land", "2, 0", "by, to, none") + event(3, 0, {6, 5}) + event(3, 1) + event(8, 1);

const DiffRow EVENT_LOGS[] = {
    {"ArgumentsByName", FLOWN, OTHER_LAYOUT, "", same("3 calls, 2 arguments")},
    {"Argument", FLOWN, callsOf(move(3, 5, 7) + land(3) + land(8)), "",
     oneDiffers("move.by", "6", "7", "1", "3 calls", "3")},
    {"MissingArgument", callsOf(event(3, 1, {5})), callsOf(move(3, 5, 0)), "",
     oneDiffers("move.by", "nan", "0", "inf", "1 calls", "3")},
    {"Call", FLOWN, callsOf(move(3, 5, 6) + land(3) + move(8, 1, 2)), "",
     oneDiffers("call", "land", "move", "-", "3 calls", "8")},
    {"StepOfACall", FLOWN, callsOf(move(3, 5, 6) + land(3) + land(7)), "",
     different("3 calls", "3 calls",
               "  first: index 7, a call of land only in B\n  calls only in A: 1, from index 8\n"
               "  calls only in B: 1, from index 7\n")},
    {"OnlyAnApi", FLOWN, callsOf(move(1, 9, 9) + land(3) + land(8)), "--only land",
     same("2 calls, 0 arguments")},
    {"OnlyAnArgument", FLOWN, callsOf(move(3, 9, 6) + land(4)), "--only move.by",
     same("1 calls, 1 arguments")},
    {"OnlyAllArgumentsOfAnApi", FLOWN, callsOf(move(3, 9, 6)), "--only move",
     oneDiffers("move.to", "5", "9", "4", "1 calls", "3")},
    {"Samples", FLOWN, FLIGHT, "", trouble("b: can't be compared: only one of the two is an event log")},
};
INSTANTIATE_TEST_SUITE_P(EventLogs, DiffTest, testing::ValuesIn(EVENT_LOGS),
                         testing::PrintToStringParamName());

}  // namespace
