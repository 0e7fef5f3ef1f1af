#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/LogTool.hpp"

using testing::HasSubstr;
using Json = nlohmann::json;

namespace {

const std::string A = " --a " LIBRARIES "/a", B = " --b " LIBRARIES "/b";

/// Runs `ostrelLog regress` over the flights of a folder of the test's own.
class Regress : public LogTool {
 protected:
  Regress() {
    setenv("OSTREL_ROOT_DIR", folder.makeDirectory("target").c_str(), 1);
    folder.makeDirectory("target/etc/ostrel");
    folder.makeDirectory("flights");
    folder.makeDirectory("empty");
  }

  /// Writes a flight of three steps that only its variant and its number of samples tell from others.
  void writeFlight(const std::string& name, const std::string& variant, const std::string& samples) const {
    folder.write("flights/" + name + ".cont",
                 continuousHeader({"index"}, "ro.hardware : " + variant + "\n") + samples);
    folder.write("flights/" + name + ".events", eventHeader("land", "0", "none"));
  }

  ProgramResult regress(const std::string& options) const {
    return run("regress --timeout 8 --replay " OSTREL_REPLAY " " + options);
  }

  /// The rows by flight.
  std::map<std::string, Json> rows(const std::string& file) const {
    std::map<std::string, Json> byFlight;
    std::istringstream lines(readFile(folder.path(file)));
    for (std::string line; std::getline(lines, line);) {
      const Json row = Json::parse(line);
      byFlight[row["flight"]] = row;
    }
    return byFlight;
  }

  /// What each row tells: verdict, reason, cut, and both sides' steps.
  std::map<std::string, std::string> told() const {
    std::map<std::string, std::string> texts;
    for (const auto& [flight, row] : rows("rows")) {
      const auto steps = [&object = row](const char* side) {
        return object[side].is_null() ? "none" : object[side]["steps"].dump();
      };
      texts[flight] = row["verdict"].get<std::string>() + " " + row["reason"].dump() + " " +
                      row["cut"].dump() + " " + steps("a") + " " + steps("b");
    }
    return texts;
  }

  const std::string three = values({5, 6, 7});
};

TEST_F(Regress, WritesARowForWhateverBecomesOfAFlight) {
  writeFlight("same", "quad", three);
  writeFlight("cut", "quad", three + "x");
  writeFlight("crash", "crash", three);
  writeFlight("hang", "hang", three);
  writeFlight("random", "random", three);
  writeFlight("empty", "quad", "");
  run("make flights/moved --seconds 0.1");
  folder.write("flights/lonely.cont", "");
  folder.write("flights/pipe.events", "");
  EXPECT_EQ(mkfifo(folder.path("flights/pipe.cont").c_str(), 0600), 0);
  folder.write("flights/nolog.cont", "no log\n");
  folder.write("flights/nolog.events", "no log\n");

  const ProgramResult result = regress("flights --rows rows --keep kept" + A + B);
  EXPECT_EQ(result.exitStatus, 1) << result.err;
  EXPECT_THAT(result.out,
              HasSubstr("1 changed, 2 same, 2 failed, 1 unstable, 1 nothing-compared, 3 bad-input of 10"));
  const Json moved = rows("rows")["flights/moved"];
  const std::map<std::string, std::string> expected = {
      {"flights/moved", "changed " + moved["reason"].dump() + " null 20 20"},
      {"flights/same", "same null null 3 3"},
      {"flights/cut", R"(same null "flights/cut.cont: cut short after byte 94" 3 3)"},
      {"flights/crash", R"x(failed-b "signal 9 (Killed)" null 3 null)x"},
      {"flights/hang", R"(failed-b "no answer within 8 s" null 3 null)"},
      {"flights/random", R"(unstable "B differs from itself" null 3 3)"},
      {"flights/empty", R"(nothing-compared "A: the export holds no step" null 0 0)"},
      {"flights/lonely", R"(bad-input "no event log" null none none)"},
      {"flights/pipe", R"(bad-input "flights/pipe.cont: not a regular file" null none none)"},
      {"flights/nolog",
       R"(bad-input "flights/nolog.cont: no flight log: neither the start of a blackbox log nor a legacy header" )"
       "null none none"},
  };
  EXPECT_EQ(told(), expected);
  EXPECT_EQ(moved["first"]["variable"], "outputs.vertical_position");
  EXPECT_EQ(moved["first"]["step"], 0);
  EXPECT_EQ(moved["differ"]["variables"], 2);
  const std::string a = moved["kept"]["a"], b = moved["kept"]["b"];
  EXPECT_EQ(run("diff --only outputs.* " + a + " " + b).exitStatus, 1);

  // Everything has its row now, so that nothing is replayed.
  const std::string before = readFile(folder.path("rows"));
  EXPECT_EQ(regress("flights --rows rows" + A + B).exitStatus, 1);
  EXPECT_EQ(readFile(folder.path("rows")), before);
}

TEST_F(Regress, KnowsLibrariesByTheirContentWhereverTheyLie) {
  writeFlight("crash", "crash", three);
  std::filesystem::copy(LIBRARIES "/b", folder.path("elsewhere"));
  const ProgramResult result =
      regress("flights --isolate off --rows rows --b elsewhere --a " LIBRARIES "/b");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr("holds the same libraries as A"));
  EXPECT_EQ(told()["flights/crash"], R"x(failed-both "signal 9 (Killed)" null null null)x");
}

TEST_F(Regress, SparesReplaysOfAThatTheBaselineKnows) {
  writeFlight("same", "quad", three);
  EXPECT_EQ(regress("flights --isolate off --rows earlier" + A).exitStatus, 0);
  const ProgramResult result = regress("flights --isolate off --rows rows --baseline earlier" + A + B);
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  // The same to the nanosecond that the replay took.
  EXPECT_EQ(rows("rows")["flights/same"]["a"], rows("earlier")["flights/same"]["a"]);
}

TEST_F(Regress, EndsWhenAFolderHasNoLibraryThatAReplayLoads) {
  writeFlight("same", "quad", three);
  folder.write("empty/libother.so", "");
  const ProgramResult result = regress("flights --a empty" + B);
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_THAT(result.err, HasSubstr("--a empty: a replay loads nothing from there; it would need any of "));
  EXPECT_THAT(result.err, HasSubstr("libostrel.so.1"));
  EXPECT_EQ(regress("flights --bisect --a empty" + B).exitStatus, 125);
}

TEST_F(Regress, EndsWithoutAnyFlight) {
  const ProgramResult result = regress("empty" + A + B);
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.err, "ostrelLog: flights: none found\n");
}

}  // namespace
