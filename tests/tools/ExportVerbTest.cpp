#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "LogTool.hpp"

namespace {

using testing::HasSubstr;

/// A blackbox log with this section of one variable.
BlackboxBuilder logOf(const std::string& section) {
  return BlackboxBuilder().addSection(0, section, {INDEX, {"x", TLM_VAR_UINT8, 1, 1}});
}
std::string twoSections() {
  const std::string first = packed(1, '\2'), second = packed(1);
  return logOf("nav")
      .addSection(1, "sun", {INDEX})
      .sample(0, 0, 0, first)
      .sample(1, 0, 0, second)
      .end()
      .bytes;
}

class ExportTest : public LogTool {
 protected:
  /// Writes logs with a variable of each type, one of no known type, and names that ROS 2 does not allow.
  void writeLogs() const {
    const std::string sample = packed(7, '\2', '\0', '\0', '\xff', '\x80', '\x7f', short{-1}, short{-2}, -3,
                                      -4, ~0L, INT64_MAX, 0.1F, -0.0);
    BlackboxBuilder log;
    log.addSection(0, "nav",
                   {INDEX,
                    {"a.b", TLM_VAR_BOOL, 1, 1},
                    {"odd", TLM_VAR_UINT8, 1, 2},
                    {"a.\"q\",\n", TLM_VAR_UINT8, 1, 1},
                    {"8I--", TLM_VAR_INT8, 2, 1},
                    {"a.B", TLM_VAR_UINT16, 1, 2},
                    {"s.t.u.v.w", TLM_VAR_INT16, 1, 2},
                    {"calls.0", TLM_VAR_UINT32, 1, 4},
                    {"calls.index", TLM_VAR_INT32, 1, 4},
                    {"a.-", TLM_VAR_UINT64, 1, 8},
                    {"a.c", TLM_VAR_INT64, 1, 8},
                    {"s_t.u.x", TLM_VAR_FLOAT, 1, 4},
                    {"s.t_u.x", TLM_VAR_DOUBLE, 1, 8}});
    folder.write("log", log.sample(0, 2, 5, sample).end().bytes);
    folder.write("calls", callsOf(move(7, 1, -0.0) + land(8)));
  }
  const std::string odd = "ostrelLog: log: not exported, of an unknown type: odd\n";
  const std::string late =
      "ostrelLog: log: a replay counts its steps without gaps: if the flight has gaps, calls behind them "
      "come too late\n";
};

TEST_F(ExportTest, OfCallsToCsvHasAColumnForEachArgument) {
  writeLogs();
  expectRun("export calls --format csv",
            {0, "index,api,move.to,move.by\r\n7,move,1,-0.0\r\n8,land,,\r\n", ""});
  expectRun("export calls --format csv --only move.by", {0, "index,api,move.by\r\n7,move,-0.0\r\n", ""});
}

TEST_F(ExportTest, ToCsvHasEveryTypeOfValue) {
  writeLogs();
  const std::string names =
      "index,a.b,\"a.\"\"q\"\",?\",8I--[0],8I--[1],a.B,s.t.u.v.w,calls.0,calls.index,a.-,a.c,";
  const std::string numbers =
      "7,1,255,-128,127,65535,-2,4294967293,-4,18446744073709551615,9223372036854775807,";
  expectRun("export log --format csv", {0, names + "s_t.u.x,s.t_u.x\r\n" + numbers + "0.1,-0.0\r\n", odd});
  expectRun("export log --format csv --only 8I--[1]", {0, "index,8I--[1]\r\n7,127\r\n", ""});
}

TEST_F(ExportTest, ToMcapHasEveryTypeOfValueUnderUniqueNames) {
  writeLogs();
  expectRun("export log --events calls --format mcap --compression none -o out",
            {0, "out: 1 sample, 2 calls, time: stamps of the samples\n", odd + late});
  const std::string file = readFile(folder.path("out"));
  const auto text = [](const std::string& characters) {
    return packed(int(characters.size())) + characters;
  };
  // One channel after the other: topic, type, definition, and the data of its first message behind the
  // index.
  const std::string channels[][4] = {
      {"/calls", "Calls", "string api\nstring[] arguments\nfloat64[] values\n",
       text({"move\0\0\0", 5}) + std::string(3, '\0') + packed(2) + text({"to\0", 3}) +
           std::string(1, '\0') + text({"by\0", 3}) + std::string(1, '\0') + packed(2, 0, 1.0, -0.0)},
      {"/a", "A", "bool b # a.b\nuint8 q # a.\"q\",?\nuint16 b_2 # a.B\nuint64 v # a.-\nint64 c # a.c\n",
       packed('\1', '\xff', short{-1}, 0, ~0L, INT64_MAX)},
      {"/samples", "Samples", "int8 v8i_0 # 8I--[0]\nint8 v8i_1 # 8I--[1]\n", packed('\x80', '\x7f')},
      {"/s/t/u", "STU", "int16 v_w # s.t.u.v.w\n", packed(short{-2})},
      {"/calls_2", "Calls2", "uint32 v0 # calls.0\nint32 index_2 # calls.index\n", packed(-3, -4)},
      {"/s_t/u", "STU2", "float32 x # s_t.u.x\n", packed(0.1F)},
      {"/s/t_u", "STU3", "float64 x # s.t_u.x\n", packed(-0.0)}};
  short number = 0;
  for (const auto& [topic, type, definition, data] : channels) {
    ++number;
    EXPECT_THAT(
        file, HasSubstr(text("ostrel/msg/" + type) + text("ros2msg") + text("int64 index\n" + definition)));
    EXPECT_THAT(file, HasSubstr(packed(number, number) + text(topic) + text("cdr")));
    const std::string head = packed(number, 0, 2'000'000'005L, 2'000'000'005L, 0x100, 7L);
    EXPECT_THAT(file, HasSubstr(packed(long(head.size() + data.size())) + head + data));
  }
}

TEST_F(ExportTest, OfARangeHasBothItsEnds) {
  folder.write("log", continuousHeader({"index", "x"}) + values({-1, 2, 0, 3, 1, 4, 5, 5, 1, 6}));
  expectRun("export log --format csv --from 0 --to 1", {0, "index,x\r\n0,3\r\n1,4\r\n1,6\r\n", ""});
  expectRun("export log --format csv --from 6", {1, "", "ostrelLog: log: no such step\n"});
}

TEST_F(ExportTest, LeavesNothingWhereTheDiskIsFullInTheMiddle) {
  std::string log = continuousHeader({"x"});
  for (int i = 0; i < 20'000; ++i) log += values({i / 3.0});
  folder.write("log", log);
  folder.write("out", "old");
  for (const char* format : {"csv", "mcap --compression none"}) {
    const std::string script =
        "cd " + folder.path("") + " && ulimit -f 100 && exec \"$0\" export log -o out --format ";
    const ProgramResult result = runProgram("/bin/sh", {"-c", script + format, OSTREL_LOG});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "ostrelLog: out: File too large\n");
    EXPECT_EQ(readFile(folder.path("out")), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 2);
  }
}

TEST_F(ExportTest, GoesIntoAPipeBehindALink) {
  const std::string log = folder.write("log", continuousHeader({"index", "x"}) + values({1, 2}));
  const std::string command = OSTREL_LOG " export " + log + " --format csv -o /dev/stdout";
  const std::unique_ptr<FILE, int (*)(FILE*)> reader(popen(command.c_str(), "r"), pclose);
  std::string text(100, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), reader.get()));
  EXPECT_EQ(text, "index,x\r\n1,2\r\n/dev/stdout: 1 sample, 0 calls\n");
}

TEST_F(ExportTest, TakesTheSectionThatIsNamed) {
  folder.write("log", twoSections());
  expectRun("export log --format csv --section nav", {0, "index,x\r\n1,2\r\n", ""});
}

TEST_F(ExportTest, MakesAWholeFileOfTheGoodPartOfACutLog) {
  folder.write("log", continuousHeader({"index", "x"}) + values({1, 2, 3}));
  expectRun("export log --format csv -o out",
            {3, "out: 1 sample, 0 calls\n", "ostrelLog: log: cut short after byte 70\n"});
  EXPECT_EQ(readFile(folder.path("out")), "index,x\r\n1,2\r\n");
}

struct TimeRow : Row {
  std::string log, options;
  std::vector<std::pair<long, long>> times;  ///< in nanoseconds, behind the index
  std::string moved = "";                    ///< the times that can't be written
};
class ExportTime : public ExportTest, public testing::WithParamInterface<TimeRow> {};

TEST_P(ExportTime, IsThatOfTheStampsOrOfTheIndex) {
  folder.write("log", GetParam().log);
  folder.write("calls", callsOf(land(5) + land(8)));
  const ProgramResult result =
      run("export log --format mcap --compression none -o out " + GetParam().options);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, GetParam().moved);
  for (const auto& [index, time] : GetParam().times)
    EXPECT_THAT(readFile(folder.path("out")), HasSubstr(packed(time, time, 0x100, index)));
}

const std::string STAMPED = continuousHeader(
    {"index", "inputs.sensors.imu.timestamp[0].tv_sec", "inputs.sensors.imu.timestamp[0].tv_nsec"});
const std::string STAMPS = STAMPED + values({4, 1, 5e8, 6, -1, 0, 7, 1e10, 0});
const std::string MOVED = "ostrelLog: log: not as recorded, but the nearest that viewers read: ",
                  YEARS = " before 1970 or after 2262\n";
const TimeRow TIMES[] = {
    {"OfTheInertialSample",
     STAMPS,
     "",
     {{4, 1'500'000'000}, {6, 0}, {7, INT64_MAX}},
     MOVED + "2 times" + YEARS},
    {"OfTheSampleBehindTheCallOrOfTheLast",
     STAMPS,
     "--events calls",
     {{5, 0}, {8, INT64_MAX}},
     MOVED + "2 times" + YEARS},
    {"OfTheIndexAtARate", STAMPS, "--rate 3 --events calls", {{4, 1'333'333'333}, {5, 1'666'666'667}}},
    {"OfTheIndexWhenTheFirstStampIsZero",
     STAMPED + values({-1, 0, 0, 1, 0, 9}),
     "",
     {{-1, 0}, {1, 5'000'000}},
     MOVED + "1 time" + YEARS},
    {"OfTheSampleBeforeOneWithoutAStamp",
     STAMPED + values({4, 1, 0, 5, 0, 0, 7, 2, 0}),
     "--events calls",
     {{4, 1'000'000'000}, {5, 1'000'000'000}, {7, 2'000'000'000}},
     "ostrelLog: log: without a stamp, and with that of the sample before: 1 sample\n"},
    {"OfTheIndexOfACall", callsOf(land(8)), "", {{8, 40'000'000}}},
};
INSTANTIATE_ROWS(ExportTime, TIMES);

TEST_F(ExportTest, OfVariablesByPatternKeepsTheCalls) {
  writeLogs();
  expectRun("export log --events calls --only a.b --format mcap -o out",
            {0, "out: 1 sample, 2 calls, time: stamps of the samples\n", late});
}

struct FaultRow : Row {
  std::string options, fault;
  int status = 1;
};
class ExportFault : public LogTool, public testing::WithParamInterface<FaultRow> {};

TEST_P(ExportFault, LeavesTheOldFile) {
  folder.write("old", "old");
  folder.write("calls", callsOf(land(0)));
  folder.write("samples", continuousHeader({"index", "x"}) + values({1, 2}));
  folder.write("empty", logOf("nav").end().bytes);
  folder.write("damaged", "TLMB" + packed(1) + std::string(20, 'x'));
  folder.write("two", twoSections());
  BlackboxBuilder changed = logOf("nav").sample(0, 0, 0, packed(1, '\2'));
  folder.write("changed", changed.changeSection(0, "nav", {INDEX}).sample(0, 0, 0, packed(2)).end().bytes);
  std::filesystem::create_symlink("/dev/full", folder.path("full"));
  expectRun("export " + GetParam().options,
            {GetParam().status, "", "ostrelLog: " + GetParam().fault + "\n"});
  EXPECT_EQ(readFile(folder.path("old")), "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 8);
}

const std::string CSV = " --format csv -o old", MCAP = " --format mcap -o old",
                  HELP = " (see ostrelLog export --help)";
const std::string OWN = ": is read from, and is not overwritten", FULL = "full: No space left on device";
const std::string RATE = "--rate: must be from 0.001 to 1000000" + HELP;
const FaultRow FAULTS[] = {
    {"LogOverwritten", "old" + CSV, "old" + OWN},
    {"EventsOverwritten", "samples --events calls --format mcap -o calls", "calls" + OWN},
    {"NoSamples", "empty" + CSV, "empty: has no section with samples"},
    {"Damaged", "damaged" + CSV, "damaged: damaged: in its header"},
    {"Sections", "two" + CSV,
     "two: has several sections with samples, choose one with --section: nav, sun"},
    {"NoSuchSection", "two --section x" + MCAP, "two: has no section x"},
    {"ChangedSection", "changed" + CSV,
     "changed: section nav has other variables from index 2 on: export the parts "
     "one by one, with --from and --to"},
    {"SectionOfALegacyLog", "samples --section x" + CSV, "--section: the log has no sections"},
    {"NothingSelected", "samples --only y" + CSV,
     "--only: names nothing that the log holds besides the index"},
    {"NothingSelectedBesideCalls", "samples --events calls --only y" + MCAP,
     "--only: names nothing that the log holds besides the index"},
    {"RangeWithoutASample", "samples --from 9" + CSV, "samples: no such step"},
    {"RangeTheWrongWayRound", "samples --from 9 --to 6" + CSV, "--from: is higher than --to" + HELP, 2},
    {"NoEvents", "samples --events samples" + MCAP, "samples: is no event log"},
    {"EventsTwice", "calls --events calls" + MCAP,
     "calls: is an event log, so that --events can't add calls to it"},
    {"FullDiskOfCsv", "samples --format csv -o full", FULL},
    {"FullDiskOfMcap", "samples --format mcap -o full", FULL},
    {"McapWithoutAFile", "samples --format mcap", "-o: needed for mcap" + HELP, 2},
    {"OtherFormat", "samples --format xml -o old", "--format: xml not in {csv,mcap}" + HELP, 2},
    {"RateOfCsv", "samples --rate 5" + CSV, "--events, --rate, --compression: only for mcap" + HELP, 2},
    {"RateTooLow", "samples --rate 0.0009" + MCAP, RATE, 2},
    {"RateTooHigh", "samples --rate 1000000.1" + MCAP, RATE, 2},
    {"OtherCompression", "samples --compression lz4" + MCAP, "--compression: lz4 not in {none,zstd}" + HELP,
     2},
};
INSTANTIATE_ROWS(ExportFault, FAULTS);

}  // namespace
