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

/// A changed flight of which the exports in these files were kept, compared with `--only y`.
std::string kept(const std::string& key, const std::string& a, const std::string& b) {
  return row(key, "<b>" + key, "changed",
             differs("y", 1) + R"(,"options":{"only":["y"],"tolerance":0.5},"kept":{"a":")" + a +
                 R"(","b":")" + b + "\"}",
             4);
}

class ReportPageTest : public ReportTest {
 protected:
  ReportPageTest() {
    folder.write("a", continuousHeader({"index", "x", "y"}) + values({0, 1, 1}) + values({1, 1, 1}));
    folder.write("b", continuousHeader({"index", "x", "y"}) + values({0, 2, 1.5}) + values({1, 2, 2}));
  }

  /// Makes a report as a page, and returns the data of the page.
  nlohmann::json page(const std::string& rows, const std::string& err = "") const {
    const ProgramResult result = run("report " + rows + " --html report.html");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, err);
    return dataOf(readFile(folder.path("report.html")));
  }
};

TEST_F(ReportPageTest, ListsWhatIsNotTheSameFirst) {
  auto expected = nlohmann::json::parse(R"({"headline":"2 changed, 1 same, 1 failed of 4, 1 without a row",
    "notes":["Rows: rows"], "folder":"report.flights", "moreBins":0, "withoutPage":0, "withoutRow":1,
    "namesWithoutRow":["f5"],
    "verdicts":{"changed":2,"same":1,"failed-a":0,"failed-b":1,"failed-both":0,"unstable":0,
                "nothing-compared":0,"bad-input":0},
    "bins":[{"verdict":"changed","what":"outputs.x","flights":2},
            {"verdict":"failed-b","what":"signal 6","flights":1}],
    "flights":[{"flight":"f2","verdict":"changed","seconds":5.0,"what":"outputs.x","step":9},
               {"flight":"f3","verdict":"changed","seconds":6.0,"what":"outputs.x","step":7},
               {"flight":"f4","verdict":"failed-b","seconds":9.0,"what":"signal 6"},
               {"flight":"f1","verdict":"same","seconds":4.5}]})");
  EXPECT_EQ(page("rows --expect all"), expected);
}

TEST_F(ReportPageTest, LeavesOutFlightsThatAreTheSameWhereThereAreTooMany) {
  std::string rows;
  for (int i = 0; i < 20'000; ++i) rows += row(std::to_string(i), "f", "same", reason(""), 4);
  folder.write("night", rows + row("last", "last", "unstable", reason("no wind"), 4));
  const auto data = page("night");
  EXPECT_EQ(data["flights"].size(), 20'000U);
  EXPECT_EQ(data["flights"][0]["flight"], "last");
  EXPECT_EQ(data["verdicts"]["same"], 20'000);
}

TEST_F(ReportPageTest, ComparesKeptExportsAsTheRunDid) {
  folder.write("few", kept("1", "a", "b") + kept("2", "a", "gone"));
  const auto data = page("few", "ostrelLog: gone: No such file or directory\n");
  EXPECT_EQ(data["flights"][1]["noPage"], "gone: No such file or directory");
  const std::string comparison =
      readFile(folder.path("report.flights/" + data["flights"][0]["page"].get<std::string>()));
  const auto drawn = dataOf(comparison);
  EXPECT_EQ(drawn["title"], "<b>1: A and B");
  EXPECT_EQ(drawn["diff"]["compared"][0]["first"]["index"], 1);  // the tolerance hides that of index 0
  ASSERT_EQ(drawn["panels"].size(), 1U);
  EXPECT_EQ(drawn["panels"][0]["title"], "y");
  EXPECT_THAT(readFile(folder.path("report.html")) + comparison, testing::Not(testing::HasSubstr("<b>1")));
}

TEST_F(ReportPageTest, ComparesTwoHundredFlights) {
  std::string rows;
  for (int i = 0; i < 201; ++i) rows += kept(std::to_string(i), "a", "b");
  folder.write("many", rows);
  const auto data = page("many");
  EXPECT_TRUE(data["flights"][199].contains("page"));
  EXPECT_FALSE(data["flights"][200].contains("page"));
  EXPECT_EQ(data["withoutPage"], 1);
}

TEST_F(ReportPageTest, FindsKeptExportsBesideTheRows) {
  folder.makeDirectory("night");
  for (const char* log : {"a", "b"})
    folder.write(std::string("night/kept-") + log, readFile(folder.path(log)));
  folder.write("night/rows", kept("1", "kept-a", "kept-b"));
  EXPECT_TRUE(page("night/rows")["flights"][0].contains("page"));
}

TEST_F(ReportPageTest, IsARegularFile) {
  for (const char* name : {"\"\"", "rows", "/dev/null", "page.flights"})
    EXPECT_EQ(run(std::string("report rows/1.jsonl --html ") + name).exitStatus, 2);
  EXPECT_FALSE(std::filesystem::exists(folder.path("page.flights")));
}

TEST_F(ReportPageTest, NeverReplacesItsRows) {
  const std::string rows = readFile(folder.path("rows/2.jsonl"));
  expectRun("report rows --html rows/2.jsonl",
            {2, "", "ostrelLog: rows/2.jsonl: is read from, and is not overwritten\n"});
  EXPECT_EQ(readFile(folder.path("rows/2.jsonl")), rows);
}

TEST_F(ReportPageTest, OfNoRowLeavesTheOldOne) {
  folder.write("none", "");
  folder.write("report.html", "old");
  EXPECT_EQ(run("report none --html report.html").exitStatus, 2);
  EXPECT_EQ(readFile(folder.path("report.html")), "old");
}

TEST_F(ReportPageTest, ThatCannotBeWrittenLeavesTheOldOne) {
  folder.write("few", kept("1", "a", "b"));
  folder.write("report.html", "old");
  folder.write("report.flights", "in the way");
  const ProgramResult result = run("report few --html report.html");
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.err, "ostrelLog: report.flights: File exists\n");
  EXPECT_EQ(readFile(folder.path("report.html")), "old");
}

}  // namespace
