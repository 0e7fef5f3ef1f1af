#include <nlohmann/json.hpp>

#include "LogTool.hpp"

namespace {

using nlohmann::json;

class InfoTest : public LogTool {
 protected:
  void writeLogsOfAllKinds() const {
    folder.write("samples", continuousHeader({"index"}, "ro.hardware : quad-x\n") + values({4, 7}) + "cut");
    const std::string unusualLand = event(3, 0, {1}), damage = values({23, 9, 0});
    folder.write("calls", callsOf(move(7, 5, 6) + unusualLand + land(5) + land(7)) + damage);
    const std::vector<telemetry::VarDesc> variables = {{"x\x1f\x7f", TLM_VAR_FLOAT, 1, 4},
                                                       {"index", TLM_VAR_INT8, 1, 1},
                                                       {"odd", TLM_VAR_UINT8, 1, 2},
                                                       {"y", TLM_VAR_FLOAT, 1, 4}};
    folder.write("replay", BlackboxBuilder(BlackboxBuilder::Values{{"ro.hardware", "quad-x"}})
                               .addSection(0, "empty", {{"index", TLM_VAR_BOOL, 2, 1}})
                               .removeSection(0)
                               .addSection(1, "nav", variables)
                               .sample(1, 0, 0, packed(0.0F, '\5', '\0', '\0', 0.0F))
                               .sample(1, 0, 0, packed(0.0F, '\6', '\0', '\0', 0.0F))
                               .end()
                               .bytes);
  }
};

TEST_F(InfoTest, DescribesLogsOfAllKinds) {
  writeLogsOfAllKinds();
  expectRun(
      "info --columns samples none calls replay",
      {1,
       "samples: legacy continuous log\n  variant    quad-x\n"
       "  columns    1: 1 double\n    double   index\n  records    2\n"
       "  index      4 to 7, 1 gap, 2 steps missing, the largest of 2 after 4\n"
       "  gaps       2 after 4\n  end        cut short after byte 88, 3 bytes of a record behind it\n"
       "calls: legacy event log\n  variant    quad-x\n"
       "  calls      4, steps 7 to 7, going back 1 time\n"
       "  late       2 calls behind a higher step: a replay makes them at the highest step before them, "
       "or not at all if the flight ends before it\n"
       "          3  land()\n          1  move(to, by)\n"
       "  unusual    1 call with another number of arguments than the header names\n"
       "  end        damaged at byte 255: a record of impossible size\n"
       "replay: blackbox log\n  variant    quad-x\n  section    empty\n  variables  1: 1 bool[2]\n"
       "    bool[2]  index\n  records    0, without an index\n  section    nav\n"
       "  variables  4: 2 float, 1 int8, 1 type 1 of 2 bytes\n"
       "    float    x??\n    int8     index\n    type 1 of 2 bytes odd\n    float    y\n"
       "  records    2\n  index      5 to 6, no gaps\n  end        whole\n",
       "ostrelLog: none: No such file or directory\n"});
}

TEST_F(InfoTest, DescribesLogsOfAllKindsAsJson) {
  writeLogsOfAllKinds();
  EXPECT_EQ(json::parse(run("info --json samples none calls replay").out), json::parse(R"([
    {"file": "samples", "kind": "continuous", "variant": "quad-x", "records": 2,
     "columns": [{"name": "index", "type": "double", "elementBytes": 8, "elements": 1}],
     "index": {"first": 4, "last": 7, "repeated": 0, "backwards": 0, "gaps":
       {"count": 1, "missing": 2, "first": [{"after": 4, "missing": 2}], "largest": {"after": 4, "missing": 2}}},
     "end": {"state": "cut", "byte": 88, "reason": "", "remainder": 3}},
    {"file": "none", "error": "No such file or directory"},
    {"file": "calls", "kind": "events", "variant": "quad-x", "records": 4,
     "apis": [{"name": "land", "records": 3, "arguments": []}, {"name": "move", "records": 1, "arguments": [
                 {"name": "to", "type": "double", "elementBytes": 8, "elements": 1},
                 {"name": "by", "type": "double", "elementBytes": 8, "elements": 1}]}],
     "steps": {"first": 7, "last": 7, "backwards": 1, "late": 2},
     "unusual": [{"records": 1, "what": "with another number of arguments than the header names"}],
     "end": {"state": "damaged", "byte": 255, "reason": "a record of impossible size"}},
    {"file": "replay", "kind": "blackbox", "variant": "quad-x", "records": 2, "sections": [
       {"name": "empty", "records": 0, "index": null,
        "variables": [{"name": "index", "type": "bool", "elementBytes": 1, "elements": 2}]},
       {"name": "nav", "records": 2, "index": {"first": 5, "last": 6, "repeated": 0, "backwards": 0,
          "gaps": {"count": 0, "missing": 0, "first": [], "largest": null}},
        "variables": [{"name": "x\u001f\u007f", "type": "float", "elementBytes": 4, "elements": 1},
                      {"name": "index", "type": "int8", "elementBytes": 1, "elements": 1},
                      {"name": "odd", "type": null, "elementBytes": 2, "elements": 1},
                      {"name": "y", "type": "float", "elementBytes": 4, "elements": 1}]}],
     "end": {"state": "whole", "byte": null, "reason": ""}}])"));
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

const std::string INDEX_HEADER = continuousHeader({"index"});
/// The description of seven records.
ProgramResult indices(const std::string& lines) {
  const std::string start =
      "log: legacy continuous log\n  variant    not named\n  columns    1: 1 double\n";
  return {0, start + "  records    7\n  index      " + lines + "\n  end        whole\n", ""};
}
ProgramResult noLog(const std::string& reason) {
  return {1, "", "ostrelLog: log: " + reason + "\n"};
}

const InfoRow INFO_LOGS[] = {
    {"OneStepMissingAndOnceBack", INDEX_HEADER + values({-1, 1, 1, 0, 1, 2, 3}),
     indices(
         "-1 to 3, 1 gap, 1 step missing, the largest of 1 after -1, repeated 1 time, going back 1 time\n"
         "  gaps       1 after -1")},
    {"RecordsInTheLineThatEndsTheHeader",
     INDEX_HEADER.substr(0, INDEX_HEADER.size() - 1) + values({1, 2}),
     {3,
      "log: legacy continuous log\n  variant    not named\n  columns    1: 1 double\n  records    0\n"
      "  end        damaged at byte 66: its \"-- Data\" line has lost its end\n",
      ""}},
    {"FiveGaps", INDEX_HEADER + values({0, 1, 3, 5, 7, 9, 11}),
     indices("0 to 11, 5 gaps, 5 steps missing, the largest of 1 after 1\n"
             "  gaps       1 after 1, 1 after 3, 1 after 5, 1 after 7, 1 after 9")},
    {"SixGaps", INDEX_HEADER + values({0, 2, 5, 8, 10, 12, 14}),
     indices("0 to 14, 6 gaps, 8 steps missing, the largest of 2 after 2\n"
             "  gaps       1 after 0, 2 after 2, 2 after 5, 1 after 8, 1 after 10, ...")},
    {"Text", "text", noLog("no flight log: neither the start of a blackbox log nor a legacy header")},
    {"Word", header("nentries : one\ntitles : x\n"),
     noLog("its 'nentries' entry in line 2 is no usable number: one")},
    {"OtherVersion", "TLMB" + packed(2), noLog("a blackbox log of another version")},
    {"FirstWord", "\nTLMB", noLog("no blackbox log, though its first word is that of one")},
};
INSTANTIATE_ROWS(InfoOnALog, INFO_LOGS);

struct EndRow : Row {
  std::string log;
  int records;
  std::string state;
  json byte;
  json remainder = nullptr;
};
class InfoOnAnEnd : public LogTool, public testing::WithParamInterface<EndRow> {};

TEST_P(InfoOnAnEnd, CountsTheWholeRecordsBeforeIt) {
  folder.write("log", GetParam().log);
  const ProgramResult result = run("info --json log");
  EXPECT_EQ(result.exitStatus, GetParam().state == "whole" ? 0 : 3);
  const json log = json::parse(result.out).at(0);
  EXPECT_EQ(log.at("records"), GetParam().records);
  EXPECT_EQ(log.at("end").at("state"), GetParam().state);
  EXPECT_EQ(log.at("end").at("byte"), GetParam().byte);
  EXPECT_EQ(log.at("end").value("remainder", json()), GetParam().remainder);
}

const std::string TWO_SAMPLES = continuousHeader({"x", "y"}) + values({1, 2, 3, 4});
const std::string MOVES = callsOf(move(3, 1, 2) + move(3, 1, 2));
const BlackboxBuilder NAV =
    BlackboxBuilder().addSection(0, "nav", {{"x", TLM_VAR_INT8, 1, 1}}).sample(0, 0, 0, "x");
const std::string UNCLOSED = NAV.bytes, CLOSED = BlackboxBuilder(NAV).end().bytes;
const std::size_t BLOCK_BYTES = 20 + 16 + 1;  // of a sample

const EndRow ENDS[] = {
    {"OneByteOfASample", TWO_SAMPLES + "x", 2, "cut", TWO_SAMPLES.size(), 1},
    {"AllButOneByteOfASample", cutBy(1, TWO_SAMPLES), 1, "cut", TWO_SAMPLES.size() - 16, 15},
    {"WholeSamples", cutBy(16, TWO_SAMPLES), 1, "whole", nullptr},
    {"HeaderWithoutItsEnd", "-- Build infos\nnentries : 2\ntitles : x,y\n", 0, "cut", 41},
    {"FarMoreColumnsCounted", header("nentries : 3000000000\ntitles : x, y\n"), 0, "whole", nullptr},
    {"OneByteOfACall", MOVES + "x", 2, "cut", MOVES.size()},
    {"AllButOneByteOfACall", cutBy(1, MOVES), 1, "cut", MOVES.size() - 40},
    {"UnclosedBlackboxLog", UNCLOSED, 1, "cut", UNCLOSED.size()},
    {"AllButOneByteOfTheEnd", cutBy(1, CLOSED), 1, "cut", UNCLOSED.size()},
    {"AllButOneByteOfABlock", cutBy(1, UNCLOSED), 0, "cut", UNCLOSED.size() - BLOCK_BYTES},
    {"WrongByteInABlock", cutBy(1, UNCLOSED) + "?", 0, "damaged", UNCLOSED.size() - BLOCK_BYTES},
};
INSTANTIATE_ROWS(InfoOnAnEnd, ENDS);

TEST_F(InfoTest, ReadsBlackboxLogsOfUpTo256Descriptions) {
  BlackboxBuilder log = NAV;
  for (int i = 1; i < 256; ++i) log.changeSection(0, std::to_string(i), {});
  folder.write("log", BlackboxBuilder(log).end().bytes);
  EXPECT_EQ(run("info log").exitStatus, 0);
  folder.write("log", log.changeSection(0, "256", {}).end().bytes);
  EXPECT_EQ(run("info log").exitStatus, 3);
}

}  // namespace
