#include <cmath>
#include <nlohmann/json.hpp>

#include "LogTool.hpp"

namespace {

using nlohmann::json;

const std::string FLIGHT =
    continuousHeader({"x", "index"}, "ro.hardware : quad-x\n") + values({1, 4, 2, 7});
const std::string CALLS = callsOf(move(7, 5, 6) + land(3) + land(8));
const std::string REPLAY = BlackboxBuilder(BlackboxBuilder::Values{{"ro.hardware", "quad-x"}})
                               .addSection(0, "empty", {{"index", TLM_VAR_BOOL, 2, 1}})
                               .removeSection(0)
                               .addSection(1, "nav",
                                           {{"x", TLM_VAR_FLOAT, 1, 4},
                                            {"index", TLM_VAR_INT8, 1, 1},
                                            {"odd", TLM_VAR_UINT8, 1, 2},
                                            {"y", TLM_VAR_FLOAT, 1, 4}})
                               .sample(1, 0, 0, packed(0.0F, '\5', '\0', '\0', 0.0F))
                               .sample(1, 0, 0, packed(0.0F, '\6', '\0', '\0', 0.0F))
                               .end()
                               .bytes;

using InfoTest = LogTool;

TEST_F(InfoTest, DescribesLogsOfAllKinds) {
  folder.write("samples", FLIGHT);
  folder.write("calls", CALLS);
  folder.write("replay", REPLAY);
  expectRun("info --columns samples calls replay",
            {0,
             "samples: legacy continuous log\n"
             "  variant    quad-x\n  columns    2: 2 double\n"
             "    double   x\n    double   index\n"
             "  records    2\n"
             "  index      4 to 7, 1 gap, 2 steps missing, the largest of 2 after 4\n"
             "  gaps       2 after 4\n"
             "  end        whole\n"
             "calls: legacy event log\n"
             "  variant    quad-x\n  calls      3, steps 7 to 8, going back 1 time\n"
             "          2  land()\n          1  move(to, by)\n"
             "  end        whole\n"
             "replay: blackbox log\n"
             "  variant    quad-x\n  section    empty\n"
             "  variables  1: 1 bool[2]\n"
             "    bool[2]  index\n"
             "  records    0, without an index\n"
             "  section    nav\n"
             "  variables  4: 2 float, 1 int8, 1 type 1 of 2 bytes\n"
             "    float    x\n    int8     index\n    type 1 of 2 bytes odd\n"
             "    float    y\n"
             "  records    2\n"
             "  index      5 to 6, no gaps\n"
             "  end        whole\n",
             ""});
}

TEST_F(InfoTest, DescribesLogsOfAllKindsAsJson) {
  folder.write("samples", FLIGHT);
  folder.write("calls", CALLS + "x");
  folder.write("replay", REPLAY);
  EXPECT_EQ(json::parse(run("info --json samples calls replay none").out), json::parse(R"([
    {"file": "samples", "kind": "continuous", "variant": "quad-x", "records": 2,
     "columns": [{"name": "x", "type": "double", "elementBytes": 8, "elements": 1},
                 {"name": "index", "type": "double", "elementBytes": 8, "elements": 1}],
     "index": {"first": 4, "last": 7, "repeated": 0, "backwards": 0, "gaps":
       {"count": 1, "missing": 2, "first": [{"after": 4, "missing": 2}], "largest": {"after": 4, "missing": 2}}},
     "end": {"state": "whole", "byte": null, "reason": ""}},
    {"file": "calls", "kind": "events", "variant": "quad-x", "records": 3,
     "apis": [{"name": "land", "records": 2, "arguments": []},
              {"name": "move", "records": 1, "arguments":
                [{"name": "to", "type": "double", "elementBytes": 8, "elements": 1},
                 {"name": "by", "type": "double", "elementBytes": 8, "elements": 1}]}],
     "steps": {"first": 7, "last": 8, "backwards": 1},
     "end": {"state": "cut", "byte": )" + std::to_string(CALLS.size()) + R"(, "reason": ""}},
    {"file": "replay", "kind": "blackbox", "variant": "quad-x", "records": 2,
     "sections": [
       {"name": "empty", "records": 0, "index": null,
        "variables": [{"name": "index", "type": "bool", "elementBytes": 1, "elements": 2}]},
       {"name": "nav", "records": 2, "index": {"first": 5, "last": 6, "repeated": 0, "backwards": 0,
          "gaps": {"count": 0, "missing": 0, "first": [], "largest": null}},
        "variables": [{"name": "x", "type": "float", "elementBytes": 4, "elements": 1},
                      {"name": "index", "type": "int8", "elementBytes": 1, "elements": 1},
                      {"name": "odd", "type": null, "elementBytes": 2, "elements": 1},
                      {"name": "y", "type": "float", "elementBytes": 4, "elements": 1}]}],
     "end": {"state": "whole", "byte": null, "reason": ""}},
    {"file": "none", "error": "No such file or directory"}])"));
}

const std::string UNUSUAL = callsOf(event(3, 0, {1}) + move(4, 5, 6));

TEST_F(InfoTest, CountsCallsWithAnotherNumberOfArguments) {
  folder.write("log", UNUSUAL);
  expectRun("info log", {0,
                         "log: legacy event log\n  variant    quad-x\n  calls      2, steps 3 to 4\n"
                         "          1  land()\n          1  move(to, by)\n"
                         "  unusual    1 call with another number of arguments than the header names\n"
                         "  end        whole\n",
                         ""});
}

TEST_F(InfoTest, CountsCallsWithAnotherNumberOfArgumentsInJson) {
  folder.write("log", UNUSUAL);
  const json log = json::parse(run("info --json log").out).at(0);
  EXPECT_EQ(log.at("unusual"), json::parse(R"([
    {"records": 1, "what": "with another number of arguments than the header names"}])"));
  EXPECT_EQ(log.at("records"), 2);
}

struct InfoRow : Row {
  std::string log;
  ProgramResult result;
};

class InfoOnALog : public LogTool, public testing::WithParamInterface<InfoRow> {};

TEST_P(InfoOnALog, PrintsAllOfThis) {
  folder.write("log", GetParam().log);
  expectRun("info log", GetParam().result);
}

/// A continuous log of these indices, and its description.
InfoRow withIndices(const char* label, const std::vector<double>& indices, const std::string& lines) {
  std::string log = continuousHeader({"index"});
  for (const double index : indices) log += values({index});
  return {label,
          log,
          {0,
           "log: legacy continuous log\n  variant    not named\n  columns    1: 1 double\n  records    " +
               std::to_string(indices.size()) + "\n" + lines + "  end        whole\n",
           ""}};
}

const InfoRow INDICES[] = {
    withIndices("NoRecord", {}, ""),
    withIndices("Consecutive", {-1, 0, 1}, "  index      -1 to 1, no gaps\n"),
    withIndices("OneStepMissing", {-1, 1},
                "  index      -1 to 1, 1 gap, 1 step missing, the largest of 1 after -1\n"
                "  gaps       1 after -1\n"),
    withIndices("FirstOfTheLargestGaps", {0, 2, 5, 8},
                "  index      0 to 8, 3 gaps, 5 steps missing, the largest of 2 after 2\n"
                "  gaps       1 after 0, 2 after 2, 2 after 5\n"),
    withIndices("FiveGaps", {0, 2, 4, 6, 8, 10},
                "  index      0 to 10, 5 gaps, 5 steps missing, the largest of 1 after 0\n"
                "  gaps       1 after 0, 1 after 2, 1 after 4, 1 after 6, 1 after 8\n"),
    withIndices("SixGaps", {0, 2, 4, 6, 8, 10, 13},
                "  index      0 to 13, 6 gaps, 7 steps missing, the largest of 2 after 10\n"
                "  gaps       1 after 0, 1 after 2, 1 after 4, 1 after 6, 1 after 8, ...\n"),
    withIndices("OnceBack", {1, 1, 0},
                "  index      1 to 0, no gaps, repeated 1 time, going back 1 time\n"),
    withIndices("TwiceBack", {1, 1, 1, 0, -1},
                "  index      1 to -1, no gaps, repeated 2 times, going back 2 times\n"),
};
INSTANTIATE_TEST_SUITE_P(Indices, InfoOnALog, testing::ValuesIn(INDICES),
                         testing::PrintToStringParamName());

ProgramResult withEnd(const std::string& description, const std::string& end) {
  return {end == "whole" ? 0 : 3, "log: " + description + "\n  end        " + end + "\n", ""};
}
ProgramResult samples(int records, const std::string& end) {
  return withEnd("legacy continuous log\n  variant    not named\n  columns    2: 2 double\n  records    " +
                     std::to_string(records) + ", without an index",
                 end);
}
ProgramResult calls(int moves, const std::string& end) {
  const std::string count = std::to_string(moves);
  return withEnd("legacy event log\n  variant    quad-x\n  calls      " + count +
                     ", steps 3 to 3\n          0  land()\n          " + count + "  move(to, by)",
                 end);
}
ProgramResult sections(int records, const std::string& end) {
  return withEnd(
      "blackbox log\n  variant    not named\n  section    nav\n  variables  1: 1 int8\n  records    " +
          std::to_string(records) + ", without an index",
      end);
}
std::string cutAfter(std::size_t byte) {
  return "cut short after byte " + std::to_string(byte);
}
std::string damagedAt(std::size_t byte) {
  return "damaged at byte " + std::to_string(byte);
}

const std::string SAMPLES = continuousHeader({"x", "y"}) + values({1, 2, 3, 4});
const std::string MOVES = callsOf(move(3, 1, 2) + move(3, 1, 2));
const std::string ODD = ": a record of impossible size";
const BlackboxBuilder NAV =
    BlackboxBuilder().addSection(0, "nav", {{"x", TLM_VAR_INT8, 1, 1}}).sample(0, 0, 0, "x");
const std::string UNCLOSED = NAV.bytes, CLOSED = BlackboxBuilder(NAV).end().bytes;
const std::size_t BLOCK_BYTES = 20 + 16 + 1;  // of a sample

const InfoRow ENDS[] = {
    {"OneByteOfASample", SAMPLES + "x", samples(2, cutAfter(SAMPLES.size()))},
    {"AllButOneByteOfASample", cutBy(1, SAMPLES), samples(1, cutAfter(SAMPLES.size() - 16))},
    {"WholeSamples", cutBy(16, SAMPLES), samples(1, "whole")},
    {"HeaderOnly", continuousHeader({"x", "y"}), samples(0, "whole")},
    {"HeaderWithoutItsEnd", "-- Build infos\nnentries : 2\ntitles : x,y\n", samples(0, cutAfter(41))},
    {"FarMoreColumnsCounted", header("nentries : 3000000000\ntitles : x, y\n") + values({1, 2}),
     samples(1, "whole")},
    {"OneByteOfACall", MOVES + "x", calls(2, cutAfter(MOVES.size()))},
    {"HeadOfACall", cutBy(16, MOVES), calls(1, cutAfter(MOVES.size() - 40))},
    {"AllButOneByteOfACall", cutBy(1, MOVES), calls(1, cutAfter(MOVES.size() - 40))},
    {"CallWhoseSizeIsNaN", MOVES + values({NAN, 9, 0}), calls(2, damagedAt(MOVES.size()) + ODD)},
    {"CallBelowTheSmallestSize", MOVES + values({23, 9, 0}), calls(2, damagedAt(MOVES.size()) + ODD)},
    {"UnclosedBlackboxLog", UNCLOSED, sections(1, cutAfter(UNCLOSED.size()))},
    {"AllButOneByteOfTheEnd", cutBy(1, CLOSED), sections(1, cutAfter(UNCLOSED.size()))},
    {"AllButOneByteOfABlock", cutBy(1, UNCLOSED), sections(0, cutAfter(UNCLOSED.size() - BLOCK_BYTES))},
    {"WrongByteInABlock", cutBy(1, UNCLOSED) + "?", sections(0, damagedAt(UNCLOSED.size() - BLOCK_BYTES))},
};
INSTANTIATE_TEST_SUITE_P(Ends, InfoOnALog, testing::ValuesIn(ENDS), testing::PrintToStringParamName());

ProgramResult noLog(const std::string& reason) {
  return {1, "", "ostrelLog: log: " + reason + "\n"};
}
const InfoRow NO_LOGS[] = {
    {"Text", "text", noLog("no flight log: neither the start of a blackbox log nor a legacy header")},
    {"NoTitles", header("nentries : 1\n"), noLog("its header has no 'titles' entry")},
    {"EmptyTitles", header("nentries : 1\ntitles :\n"), noLog("its header names no columns")},
    {"Word", header("nentries : one\ntitles : x\n"),
     noLog("its header has a 'nentries' that is no usable number in line 2: one")},
    {"OtherVersion", "TLMB" + packed(2), noLog("a blackbox log of another version")},
    {"FirstWord", "\nTLMB", noLog("no blackbox log, though its first word is that of one")},
};
INSTANTIATE_TEST_SUITE_P(NoLogs, InfoOnALog, testing::ValuesIn(NO_LOGS), testing::PrintToStringParamName());

TEST_F(InfoTest, GoesOnBehindAFileThatIsNoLog) {
  folder.write("log", cutBy(1, continuousHeader({"x\xff\x1f\x7f"}) + values({1})));
  expectRun(
      "info none log --columns",
      {1,
       "log: legacy continuous log\n  variant    not named\n  columns    1: 1 double\n"
       "    double   x\xff??\n  records    0, without an index\n  end        cut short after byte 50\n",
       "ostrelLog: none: No such file or directory\n"});
}

TEST_F(InfoTest, ReadsBlackboxLogsOfUpTo256Descriptions) {
  BlackboxBuilder log = NAV;
  for (int i = 1; i < 256; ++i) log.changeSection(0, std::to_string(i), {{"x", TLM_VAR_BOOL, 1, 1}});
  folder.write("log", BlackboxBuilder(log).end().bytes);
  EXPECT_EQ(run("info log").exitStatus, 0);
  folder.write("log", log.changeSection(0, "256", {{"x", TLM_VAR_BOOL, 1, 1}}).end().bytes);
  EXPECT_EQ(run("info log").exitStatus, 3);
}

}  // namespace
