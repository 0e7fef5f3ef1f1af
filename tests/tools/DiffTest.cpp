#include <cmath>

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
/// The lines below the names of the logs, which have so many steps or calls.
ProgramResult different(const std::string& countA, const std::string& countB, const std::string& lines) {
  return {1, "different\n  A: a, " + countA + "\n  B: b, " + countB + "\n" + lines, ""};
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
const std::string COLUMNS = continuousHeader({"x", "index", "y"});
const std::string FLIGHT = COLUMNS + values({0.5, 1, 1, 2, 2, 2, 3, 3, 259});

using telemetry::VarDesc;
const VarDesc INDEX = {"index", TLM_VAR_INT32, 1, 4}, X = {"x", TLM_VAR_FLOAT, 1, 4},
              Y = {"y", TLM_VAR_UINT8, 1, 1}, OUT = {"out", TLM_VAR_INT32, 1, 4};
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
    {"LargestDifferenceOfEachVariable", FLIGHT, COLUMNS + values({0.5, 1, 1, -3, 2, 2, 102.1, 3, 260}), "",
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

    {"ArgumentsByName", callsOf(move(3, 5, 6)), eventHeader("move", "2", "by, to") + event(3, 0, {6, 5}),
     "", same("1 call, 2 arguments")},
    {"MissingArgument", callsOf(event(3, 1, {5})), callsOf(move(3, 5, 0)), "",
     trouble("a: not compared: 1 call with another number of arguments than the header names",
             oneDiffers("move.by", "nan", "0", "inf", "1 call", "3").out)},
    {"CallOfAnApiThatIsNotNamed", FLOWN, FLOWN + event(8, 2), "",
     trouble("b: not compared: 1 call of an API that the header does not name, not counted as calls",
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

}  // namespace
