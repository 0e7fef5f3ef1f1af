#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "LogTool.hpp"

namespace {

/// A row of one flight whose replays took so many seconds together.
std::string row(const std::string& key, const std::string& flight, const std::string& verdict,
                const std::string& more, double seconds) {
  return R"({"key":")" + key + R"(","flight":")" + flight + R"(","verdict":")" + verdict + "\"," + more +
         R"(,"a":{"seconds":2},"b":{"seconds":)" + std::to_string(seconds - 2) + "}}\n";
}
std::string differs(const std::string& variable, int step) {
  return R"("reason":null,"first":{"index":0,"step":)" + std::to_string(step) + R"(,"variable":")" +
         variable + R"(","a":1.5,"b":"nan"})";
}
std::string reason(const std::string& text) {
  return R"("first":null,"reason":")" + text + "\"";
}

class ReportTest : public LogTool {
 protected:
  ReportTest() {
    folder.makeDirectory("rows");
    folder.write("rows/1.jsonl", row("1", "f1", "failed-b", reason("signal 11"), 4) +
                                     row("2", "f2", "changed", differs("outputs.x", 9), 5) +
                                     row("3", "f3", "changed", differs("outputs.x", 7), 6));
    // The run of the second file has repeated the first flight, and was killed inside a row.
    folder.write("rows/2.jsonl", row("1", "f1", "same", reason(""), 4.5) +
                                     row("4", "f4", "failed-b", reason("signal 6"), 9) +
                                     R"({"key":"5","flight":"f5","ver)");
    folder.write("rows/notes.txt", "no rows");
    folder.write("all", "f1\nf2\nf3\nf4\nf5\n");
  }
};

TEST_F(ReportTest, CountsTheLastRowOfEachKey) {
  const std::string text =
      "2 changed, 1 same, 1 failed of 4, 1 without a row\n"
      "  flights  verdict           first differing variable, or reason\n"
      "        2  changed           outputs.x\n"
      "        1  failed-b          signal 6\n"
      "  look first at\n"
      "    changed           f3: step 7, outputs.x: 1.5 in A, nan in B\n"
      "    failed-b          f4: signal 6\n"
      "    changed           f2: step 9, outputs.x: 1.5 in A, nan in B\n"
      "  slowest\n"
      "         9.0 s  f4\n         6.0 s  f3\n         5.0 s  f2\n         4.5 s  f1\n"
      "  without a row\n    f5\n";
  expectRun("report rows --expect all", {1, text, ""});
  expectRun("report rows --list changed", {1, "f2\nf3\n", ""});
}

TEST_F(ReportTest, OfFlightsThatAreAllTheSameSucceedsUnlessOneIsMissing) {
  folder.write("same", row("1", "f1", "same", reason(""), 4));
  expectRun("report same", {0, "0 changed, 1 same, 0 failed of 1\n  slowest\n         4.0 s  f1\n", ""});
  EXPECT_EQ(run("report same --expect all").exitStatus, 1);
}

TEST_F(ReportTest, HasTheSameInJson) {
  const auto report = nlohmann::json::parse(run("report rows --json").out);
  EXPECT_EQ(report["flights"], 4);
  EXPECT_EQ(report["verdicts"]["changed"], 2);
  EXPECT_EQ(report["bins"][1],
            nlohmann::json({{"verdict", "failed-b"}, {"what", "signal 6"}, {"flights", 1}}));
  EXPECT_EQ(report["lookFirst"][0]["first"]["b"], "nan");
  EXPECT_EQ(report["slowest"][0]["flight"], "f4");
}

TEST_F(ReportTest, NamesWhatIsNoRow) {
  folder.write("bad", "{}\n" + std::string(2 << 20, 'x') + "\n" +
                          row("1", "f1", "new-verdict", reason(""), 4) +
                          row("2", "f2", "same", "\"a\":1", 4) +
                          R"({"key":"3","flight":7,"verdict":"same"})" + "\n");
  const ProgramResult result = run("report bad missing");
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.err,
            "ostrelLog: bad, line 1: no row\nostrelLog: bad, line 2: no row\n"
            "ostrelLog: missing: No such file or directory\n"
            "ostrelLog: bad, line 3: no row\nostrelLog: bad, line 5: no row\n");
  EXPECT_THAT(result.out, testing::StartsWith("0 changed, 1 same, 0 failed of 1\n"));
}

}  // namespace
