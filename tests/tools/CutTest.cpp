#include "CopiedLog.hpp"

namespace {

using CutOf = CopiedLog;
TEST_P(CutOf, KeepsTheStepsFromFiveToSeven) {
  expectCopy("cut log -o new --from 5 --to 7",
             "  state      that of the library at step 5 is not in the log: a replay begins with that of a "
             "start\n");
}

const std::string HEADER = continuousHeader({"index", "y"}), NO_INDEX = continuousHeader({"x"});
const std::string SAMPLES = HEADER + values({4, 1, 5, 1, 7, 1, 8, 1, 5, 2});
const BlackboxBuilder CUT_SECTIONS = sections()
                                         .sample(0, 1, 0, nav(4))
                                         .sample(1, 1, 0, "abc")
                                         .sample(0, 1, 0, nav(5))
                                         .sample(1, 1, 0, "def")
                                         .sample(0, 1, 0, nav(8))
                                         .end();
const BlackboxBuilder KEPT_SECTIONS = sections().sample(0, 1, 0, nav(5)).sample(1, 1, 0, "def").end();
const CopyRow CUT_LOGS[] = {
    {"Samples", SAMPLES, HEADER + values({5, 1, 7, 1, 5, 2}), "3 records, steps 5 to 7", ""},
    {"SamplesOfACutLog", SAMPLES + "cut", HEADER + values({5, 1, 7, 1, 5, 2}), "3 records, steps 5 to 7",
     "  lost       part of a record behind step 5, 3 bytes: cut short after byte " + behind(SAMPLES) + "\n",
     3},
    {"SamplesWithoutAnIndex", NO_INDEX + values({0, 1, 2, 3, 4, 9, 6, 7, 8}), NO_INDEX + values({9, 6, 7}),
     "3 records, steps 5 to 7", ""},
    // A replay makes the second call of step 5 at step 9.
    {"Calls", callsOf(land(4) + land(5) + move(7, 1, 2) + land(9) + land(5)),
     callsOf(land(5) + move(7, 1, 2) + land(9)), "2 records, steps 5 to 7",
     "  and        the next call, of step 9: a replay does not make calls that it reads together with the "
     "log's end\n"},
    {"NoCalls", callsOf(land(4) + land(8)), callsOf(""), "0 records", ""},
    {"NoCallsOfACutLog", callsOf(land(4)) + "cut", callsOf(""), "0 records",
     "  lost       part of a record behind step 4, 3 bytes: cut short after byte " +
         behind(callsOf(land(4))) + "\n",
     3},
    {"SamplesOfSections", CUT_SECTIONS.bytes, KEPT_SECTIONS.bytes, "2 records, steps 5 to 5", ""},
};
INSTANTIATE_ROWS(CutOf, CUT_LOGS);

using CutTest = LogTool;

TEST_F(CutTest, CutsAFlightIntoTwoWhoseReplaysMakeItsCalls) {
  run("make flight --seconds 20 --rate 50");
  for (const std::string log : {".cont", ".events"}) {
    const ProgramResult first = run("cut flight" + log + " -o a" + log + " --from 0 --to 490");
    EXPECT_EQ(first.out.find("  state"), std::string::npos);  // nothing of the flight is in front
    run("cut flight" + log + " -o b" + log + " --from 491 --to 999");
  }
  const std::string a = replayedCalls(folder, "a"), b = replayedCalls(folder, "b");
  EXPECT_FALSE(a.empty() || b.empty());
  EXPECT_EQ(a + b, replayedCalls(folder, "flight"));
}

}  // namespace
