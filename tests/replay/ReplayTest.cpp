#include <sys/stat.h>

#include <tuple>

#include "replay/ReplayFixture.hpp"
#include "support/Row.hpp"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const std::string COLUMNS = continuousHeader({"index", "inputs.sensors.flags"});
const std::string APIS =
    eventHeader("set_motors_armed, take_off, land", "1, 1, 0", "armed, altitude, none");

/// A continuous log whose samples carry these step indices, and flags of 100 more.
std::string samples(const std::vector<int>& indices) {
  std::string bytes = COLUMNS;
  for (const int index : indices) bytes += values({double(index), double(index) + 100});
  return bytes;
}

using Replay = ReplayFixture;

TEST_F(Replay, RunsOneStepPerSampleFromStartToTearDown) {
  variables["LOG_LEVEL"] = "7";
  const ProgramResult result =
      replay(samples({0, 1, 2}), APIS + event(1, 0, {1}) + event(1, 1, {2.5}) + event(2, 2) + event(9, 2));
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(
      linesLike({"@", "<7>ostrel: call", "<6>ostrelReplay: R", "<4>ostrelReplay: 137 ", "<3>"}),
      ElementsAre("@prctl 29 1", "@unlink /dev/shm/shd_navdata-replay", "@unlink /dev/shm/shd_ostrellite",
                  "@sleep 1", "<4>ostrelReplay: 137 registered entries not found in file :",
                  "<3>ostrelReplay: Using droneVariant given in args : board", "@OSTREL_new board default",
                  "@OSTREL_process flags=100", "@usleep 1",  //
                  "<7>ostrel: call set_motors_armed(armed=1)",
                  "<7>ostrel: call take_off(altitude=2.5)",  //
                  "@OSTREL_process flags=101", "@usleep 1",  //
                  "<7>ostrel: call land()",                  //
                  "@OSTREL_process flags=102", "@usleep 1",  //
                  "<6>ostrelReplay: Reached end of replay", "@sleep 1",
                  "<6>ostrelReplay: Ran 2 steps of ostrel", "@OSTREL_delete"));
}

struct Indices : Row {
  std::vector<int> indices;
  std::vector<std::string> lines;  // the tool's own from the first step on
};
class StepIndices : public Replay, public testing::WithParamInterface<Indices> {};

TEST_P(StepIndices, DecideWarningsAndTheEnd) {
  EXPECT_EQ(replay(samples(GetParam().indices), APIS).exitStatus, 0);
  EXPECT_EQ(linesLike({"<4>ostrelReplay: J", "<4>ostrelReplay: E", "<6>ostrelReplay: R"}),
            GetParam().lines);
}

constexpr int MOST = 2147483647;
const std::string END = "<6>ostrelReplay: Reached end of replay";
std::string ran(int last) {
  return "<6>ostrelReplay: Ran " + std::to_string(last) + " steps of ostrel";
}
std::string jumped(int steps, int after) {
  return "<4>ostrelReplay: Jumped " + std::to_string(steps) + " steps after iteration " +
         std::to_string(after);
}

const std::string READ_ERROR = "<4>ostrelReplay: Error on replay data read : ";
const Indices INDICES[] = {
    {"NoSample", {}, {END, ran(0)}},
    {"GapAfterOne", {0, 1, 2, 5}, {jumped(3, 2), END, ran(5)}},
    {"GapAfterZero", {0, 4}, {END, ran(4)}},
    {"BackwardsAndRepeated", {7, 3, 3}, {END, ran(3)}},
    {"LargestGap", {1, MOST}, {jumped(MOST - 1, 1), END, ran(MOST)}},
    {"Negative", {1, -5, 2}, {READ_ERROR + "Input/output error", ran(1)}},
    {"NegativeLikeTheEnd", {1, -61, 2}, {END, ran(1)}},
    {"MostNegative", {3, -MOST - 1}, {READ_ERROR + "Unknown error -2147483648", ran(3)}},
};
INSTANTIATE_ROWS(StepIndices, INDICES);

TEST_F(Replay, NegativeIndexRunsNoStep) {
  replay(samples({1, -5}), APIS + event(-5, 2));
  EXPECT_EQ(linesLike({"@OSTREL_process"}).size(), 1U);
}

TEST_F(Replay, LogWithoutIndexStaysAtStepZero) {
  replay(continuousHeader({"inputs.sensors.flags"}) + values({7, 8}), APIS + event(0, 2) + event(9, 2));
  EXPECT_THAT(linesLike({"@OSTREL_process", "<6>ostrelReplay: Ran"}),
              ElementsAre("@OSTREL_process flags=7", "@OSTREL_process flags=8", ran(0)));
}

TEST_F(Replay, CallsMetWithTheEndOfTheEventLogAreReportedLost) {
  variables["LOG_LEVEL"] = "7";
  replay(samples({0, 1, 2}), APIS + event(1, 2));
  EXPECT_THAT(linesLike({"<4>ostrelReplay: Error", "<7>ostrel: call"}),
              ElementsAre("<4>ostrelReplay: Error on replay event read during step 1 : No data available"));
}

class Export : public Replay {
 protected:
  Export() { variables["KVS_FILE"] = settings; }

  /// Replays this log into `output` and returns the lines at error priority but the variant's.
  std::vector<std::string> replayInto(const std::string& output, const std::string& continuous) {
    const std::string events = folder.write("events", APIS + event(1, 0, {1}) + event(9, 2));
    EXPECT_EQ(run({"-i", continuous, "-e", events, "-d", "board", "-g", output}).exitStatus, 0);
    EXPECT_EQ(readFile(settings), earlier);
    std::vector<std::string> errors = linesLike({"<3>", "<4>ostrelReplay: Could not"});
    errors.erase(errors.begin());
    return errors;
  }

  void writeSettings(const std::string& text) { folder.write("settings", earlier = text); }

  std::string earlier = "# mine\ns tlm-blackbox.logname kept\nb tlm-blackbox.enabled true";
  const std::string settings = folder.write("settings", earlier);
  const std::string flight = folder.path("cont");
};

TEST_F(Export, ReplaysToTheSameBytes) {
  std::string whole = COLUMNS;
  for (int i = 0; i < 4; ++i) whole += values({double(i), 7.0});
  folder.write("cont", whole);
  EXPECT_THAT(replayInto(folder.path("first"), flight), IsEmpty());
  variables["TLMB_SECTION_NAME"] = "navdata-replay";
  EXPECT_THAT(replayInto(folder.path("second"), folder.path("first")), IsEmpty());
  EXPECT_THAT(lines, Contains(ran(3)));
  EXPECT_GT(readFile(folder.path("first")).size(), 4U * 700);
  EXPECT_EQ(readFile(folder.path("first")), readFile(folder.path("second")));
}

TEST_F(Export, OutputThatCanNotBeWrittenIsReportedForEachStep) {
  folder.write("cont", samples({0, 1}));
  const std::pair<std::string, const char*> outputs[] = {
      {folder.path("missing/out"), "Not a directory"},
      {folder.write("file", "") + "/out", "Not a directory"},
      {folder.makeDirectory("directory") + "/", "Is a directory"},
      {"/dev/full", "No space left on device"},
      {folder.path("pipe"), "No such device or address"},
  };
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  for (const auto& [output, reason] : outputs) {
    EXPECT_THAT(replayInto(output, flight),
                ElementsAre(std::string("<3>ostrelReplay: Error exporting replay at index 0 : ") + reason,
                            std::string("<3>ostrelReplay: Error exporting replay at index 1 : ") + reason));
    EXPECT_THAT(lines, Contains(ran(1)));
  }
}

TEST_F(Export, InterruptionEndsInOrderAfterTheStepUnderWay) {
  variables["PROBE_SIGNAL_AT"] = "2";
  const std::string out = folder.path("out");
  EXPECT_EQ(replay(samples({4, 5, 6}), APIS, {"-d", "board", "-g", out}).exitStatus, 128 + 15);
  EXPECT_EQ(readFile(settings), earlier);
  EXPECT_THAT(linesLike({"@OSTREL_p", "<4>ostrelReplay: R", "<6>ostrelReplay: R", "@OSTREL_delete"}),
              ElementsAre("@OSTREL_process flags=104", "@OSTREL_process flags=105",
                          "<4>ostrelReplay: Replay interrupted by signal 15 after step 5", ran(5),
                          "@OSTREL_delete"));
  // The log of the two steps is whole: it can be replayed to its end.
  variables.erase("PROBE_SIGNAL_AT");
  variables["TLMB_SECTION_NAME"] = "navdata-replay";
  EXPECT_EQ(run({"-i", out, "-e", folder.path("events"), "-d", "board"}).exitStatus, 0);
  EXPECT_THAT(linesLike({"<4>", "<6>ostrelReplay: R"}), ElementsAre(END, ran(1)));
}

TEST_F(Export, NeverOverwritesAnInput) {
  folder.write("cont", samples({0, 1}));
  EXPECT_THAT(replayInto(folder.path("./cont"), flight),
              ElementsAre("<3>ostrelReplay: Output " + folder.path("./cont") +
                          " is an input of this replay, nothing is exported"));
  EXPECT_EQ(readFile(flight), samples({0, 1}));
}

TEST_F(Export, OpensNoLogButItsOwn) {
  // The logging service is told of an earlier log, and can't be told of this one.
  folder.write("kept", "earlier");
  writeSettings("s tlm-blackbox.logdir " + folder.path("") + "\ns tlm-blackbox.logname kept\n");
  replayInto(folder.path(std::string(5000, 'x')), folder.write("cont", samples({0, 1})));
  EXPECT_THAT(lines, Contains("<4>ostrelReplay: Could not set : Message too long"));
  EXPECT_EQ(readFile(folder.path("kept")), "earlier");

  // A replay without a step leaves a log without a sample, not yesterday's.
  folder.write("out", "yesterday");
  EXPECT_THAT(replayInto(folder.path("out"), folder.write("cont", samples({}))), IsEmpty());
  EXPECT_EQ(readFile(folder.path("out")).substr(0, 4), "TLMB");
}

TEST_F(Export, WithoutTheSettingsServiceTheReplayRuns) {
  variables["KVS_FILE"] = folder.makeDirectory("directory");
  EXPECT_EQ(replay(samples({0, 1}), APIS, {"-d", "board", "-g", folder.path("out")}).exitStatus, 0);
  EXPECT_THAT(lines, Contains("<4>ostrelReplay: Could not create KVS context"));
  EXPECT_THAT(lines, Contains(ran(1)));
}

TEST_F(Replay, LogsThatCanNotBeReadEndTheSetUp) {
  const std::string log = folder.path("cont");
  EXPECT_EQ(replay(" TLMB", APIS).exitStatus, 1);
  EXPECT_THAT(linesLike({"<3>ostrelReplay"}),
              ElementsAre(HasSubstr("Unable to open '" + log + "': err=-22"),
                          HasSubstr("Could not open " + log + " : ")));
  EXPECT_EQ(replay(samples({0}), "TLMB\n").exitStatus, 1);  // no blackbox log serves for events
  EXPECT_EQ(lines.back(), "<3>ostrelReplay: File doesn't have a 'type' entry");
  const std::string directory = folder.makeDirectory("directory");
  EXPECT_EQ(run({"-i", directory, "-e", directory, "-d", "board"}).exitStatus, 1);
  EXPECT_THAT(lines, Contains("<3>ostrelReplay: Could not read " + directory + " : Is a directory"));
}

TEST_F(Replay, VariantIsTheFirstThatHasOne) {
  using Options = std::vector<std::string>;
  const std::string c = "ro.hardware : c\n", e = "product : e\n", p = "ro.hardware=p\n";
  const std::tuple<std::string, std::string, std::string, Options, std::string, std::string> sources[] = {
      {c, e, p, {"-d", "board"}, "Using droneVariant given in args : ", "board"},
      {c, e, p, {}, "droneVariant found in Data file : ", "c"},
      {"ro.hardware\n", e, p, {}, "droneVariant found in Event file : ", "e"},
      {"", "", p, {}, "droneVariant found from system properties : ", "p"},
  };
  for (const auto& [continuous, events, properties, options, line, variant] : sources) {
    variables["SYS_PROP_FILE"] = folder.write("properties", properties);
    const std::string columns = continuousHeader({"index"}, continuous);
    EXPECT_EQ(replay(columns, eventHeader("land", "0", "x", events), options).exitStatus, 0);
    EXPECT_THAT(linesLike({"<3>", "@OSTREL_new"}),
                ElementsAre("<3>ostrelReplay: " + line + variant, "@OSTREL_new " + variant + " default"));
  }
  folder.write("properties", "ro.hardware=\n");
  EXPECT_EQ(replay(samples({}), APIS, {}).exitStatus, 1);
  EXPECT_THAT(linesLike({"<3>", "@OSTREL_new"}),
              ElementsAre("<3>ostrelReplay: No drones variant found in log file and in properties,please "
                          "give your variant with -d VARIANT"));
}

TEST_F(Replay, ExceptionOfAStepTearsDownInOrderAndGoesOn) {
  variables["PROBE_THROW_AT"] = "2";
  EXPECT_EQ(replay(samples({0, 1, 2}), APIS).exitStatus, 128 + 6);
  EXPECT_THAT(linesLike({"@OSTREL_process", "@OSTREL_delete", "terminate"}),
              ElementsAre("@OSTREL_process flags=100", "@OSTREL_process flags=101", "@OSTREL_delete",
                          HasSubstr("terminate called")));
}

}  // namespace
