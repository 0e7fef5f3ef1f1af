#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "LogTool.hpp"

namespace {

using telemetry::VarDesc;

struct SectionDiffRow : Row {
  std::string a, b;     ///< the bytes of the logs
  std::string options;  ///< separated by blanks
  ProgramResult result;
};

class SectionDiff : public LogTool, public testing::WithParamInterface<SectionDiffRow> {};

TEST_P(SectionDiff, SaysWhatWasComparedAndWhatDiffers) {
  folder.write("a", GetParam().a);
  folder.write("b", GetParam().b);
  expectRun("diff a b " + GetParam().options, GetParam().result);
}

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

ProgramResult same(const std::string& lines) {
  return {0, lines, ""};
}
ProgramResult different(const std::string& lines) {
  return {1, "different\n" + lines, ""};
}
ProgramResult trouble(const std::string& line) {
  return {2, "", "ostrelLog: " + line + "\n"};
}

const std::string FLOWN = blackbox({{"navdata", {1, 2}}});
const std::string REPLAYED = blackbox({{"unused", {}}, {"navdata-replay", {1, 2}}});
const std::string NAV_GPS = blackbox({{"nav", {1, 2}}, {"gps", {7}}});
const std::string GPS_NAV = blackbox({{"gps", {7}}, {"nav", {1, 2}}});
const std::string EMPTY = blackbox({{"nav", {}}});
const std::string LEGACY = continuousHeader({"index", "x"}) + values({0, 1, 1, 2});

const SectionDiffRow PAIRINGS[] = {
    {"OnlyOnesWithSamples", FLOWN, REPLAYED, "",
     same("same: 2 steps, 2 variables, sections navdata in A, navdata-replay in B\n")},
    {"SeveralBesideALegacyLog", NAV_GPS, LEGACY, "",
     trouble("a: has several sections with samples, choose one with --section: gps, nav")},
    {"NoneBesideALegacyLog", LEGACY, EMPTY, "", trouble("b: has no section with samples")},
    {"ChosenBesideALegacyLog", NAV_GPS, LEGACY, "--section nav",
     same("same: 2 steps, 2 variables, section nav in A\n")},
    {"InAnotherOrder", NAV_GPS, GPS_NAV, "",
     same("same: 1 step, 2 variables, section gps\nsame: 2 steps, 2 variables, section nav\n")},
    {"OneOfTwoDiffers", NAV_GPS, blackbox({{"gps", {7}}, {"nav", {1, 5}}}), "",
     different("  A: a\n  B: b\n  section: gps, same: 1 step, 2 variables\n"
               "  section: nav, 2 steps in A, 2 steps in B\n  first: index 1, x: 2 in A, 5 in B\n"
               "      steps  largest       from index  difference in\n"
               "          1  3                      1  x\n")},
    {"InOneLogOnly", NAV_GPS, blackbox({{"nav", {1, 2}}, {"wind", {7}}, {"sun", {7}}}), "",
     different("  A: a, 2 steps\n  B: b, 2 steps\n  section: nav\n  sections only in A: 1 (gps)\n"
               "  sections only in B: 2 (sun, wind)\n")},
    {"NamedOne", NAV_GPS, GPS_NAV, "--section gps", same("same: 1 step, 2 variables, section gps\n")},
    {"NamedPair", NAV_GPS, REPLAYED, "--section nav=navdata-replay",
     same("same: 2 steps, 2 variables, sections nav in A, navdata-replay in B\n")},
    {"NamedPairThatOneLogLacks", NAV_GPS, GPS_NAV, "--section nav=sun", trouble("b: has no section sun")},
    {"NamedPairWithoutAName", NAV_GPS, GPS_NAV,
     "--section nav=", trouble("--section: must be NAME or A=B (see ostrelLog --help)")},
    {"TwoEmptyReplays", EMPTY, EMPTY, "",
     trouble("a, b: nothing was compared: no section with samples in common")},
    {"TwoEmptyReplaysByName", EMPTY, EMPTY, "--section nav",
     trouble("a, b: nothing was compared: no step in common")},
    {"NoCall", callsOf(""), callsOf(""), "", trouble("a, b: nothing was compared: no call in common")},
};
INSTANTIATE_TEST_SUITE_P(Pairings, SectionDiff, testing::ValuesIn(PAIRINGS),
                         testing::PrintToStringParamName());

/// A blackbox log with one sample of one variable.
std::string withSample(const VarDesc& variable, const std::string& sample) {
  return BlackboxBuilder().addSection(0, "nav", {variable}).sample(0, 0, 0, sample).end().bytes;
}
const VarDesc V = {"v", TLM_VAR_INT32, 2, 4};
const std::string V12 = withSample(V, packed(1, 2)), V19 = withSample(V, packed(1, 9));
const std::string ACC = continuousHeader({"acc[0].x", "acc[1].x", "acc0.x"});

const SectionDiffRow VALUES[] = {
    {"IndexInAPattern", ACC + values({1, 2, 3}), ACC + values({1, 8, 8}), "--only acc[0].*",
     same("same: 1 step, 1 variable\n")},
    {"SetOfCharactersInAPattern", ACC + values({1, 2, 3}), ACC + values({1, 8, 3}), "--only acc[0-9].*",
     same("same: 1 step, 1 variable\n")},
    {"OtherElement", V12, V19, "--only v[0]", same("same: 1 step, 1 variable, section nav\n")},
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
INSTANTIATE_TEST_SUITE_P(Values, SectionDiff, testing::ValuesIn(VALUES), testing::PrintToStringParamName());

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

TEST_F(Version, IsTheReleaseWithAnyCommit) {
  EXPECT_THAT(run("--version").out, testing::MatchesRegex("ostrelLog 1\\.0\\.0( .commit [0-9a-f]+.)?\n"));
}

}  // namespace
