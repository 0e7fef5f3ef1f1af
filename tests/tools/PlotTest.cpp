#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "LogTool.hpp"

namespace {

using nlohmann::json;
using Numbers = std::vector<double>;
using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using testing::Not;

std::string base64Bytes(const std::string& text) {
  static const std::string DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  std::size_t group = 0, bits = 0;
  for (const char c : text.substr(0, text.find('='))) {
    group = group << 6U | DIGITS.find(c);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes += static_cast<char>(group >> bits & 255U);
  }
  return bytes;
}

template <class T>
Numbers unpackedAs(const std::string& bytes) {
  Numbers numbers(bytes.size() / sizeof(T));
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    T number;
    std::memcpy(&number, &bytes[i * sizeof number], sizeof number);
    numbers[i] = static_cast<double>(number);
  }
  return numbers;
}

/// The numbers as the page's own program reads them.
Numbers unpacked(const json& packed) {
  if (packed.contains("constant"))
    return Numbers(packed.at("length").get<std::size_t>(), packed.at("constant"));
  const std::string bytes = base64Bytes(packed.at("bytes")), type = packed.at("type");
  if (type == "u1") return unpackedAs<std::uint8_t>(bytes);
  if (type == "i2") return unpackedAs<std::int16_t>(bytes);
  Numbers numbers = type == "f4" ? unpackedAs<float>(bytes) : unpackedAs<double>(bytes);
  if (!packed.contains("bases")) return numbers;
  const Numbers bases = unpacked(packed.at("bases").at("packed"));
  const std::size_t each = packed.at("bases").at("each");
  for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] += bases.at(i / each);
  return numbers;
}

class PlotTest : public LogTool {
 protected:
  /// Plots without a word, and returns the data of the page.
  json plot(const std::string& arguments) const {
    expectRun("plot " + arguments + " -o page.html", {0, "", ""});
    return dataOf(readFile(folder.path("page.html")));
  }

  static Numbers numbersOf(const json& data, std::size_t variable, std::size_t series = 0) {
    return unpacked(data.at("variables").at(variable).at("series").at(series).at("single"));
  }
};

TEST_F(PlotTest, PacksValuesInTheSmallestTypeThatHoldsThem) {
  const Numbers pairs[] = {{0, 255},  {-1, 256}, {-32768, 32767}, {0, 32768}, {0, 0.5},
                           {7, -0.0}, {0, 0.1},  {0, 1e300},      {3, 3}};
  std::vector<std::string> types;
  for (const Numbers& pair : pairs) {
    folder.write("log", continuousHeader({"x"}) + values({pair[0], pair[1]}));
    const json low = plot("log").at("variables").at(0).at("series").at(0).at("single");
    EXPECT_EQ(unpacked(low), pair);
    EXPECT_EQ(std::signbit(unpacked(low)[1]), std::signbit(pair[1]));
    types.push_back(low.value("type", "constant"));
  }
  EXPECT_THAT(types, ElementsAre("u1", "i2", "i2", "f4", "f4", "f4", "f8", "f8", "constant"));
}

TEST_F(PlotTest, KeepsPeaksAndTheAskedStepsOfALongLog) {
  std::string log = continuousHeader({"index", "x"});
  for (int i = 0; i < 40'000; ++i)
    log += values({static_cast<double>(i), i == 12'345 ? 7.0 : i == 12'346 ? -7.0 : 0});
  folder.write("log", log);
  const json data = plot("log --from 100 --to 103 --title Peaks"),
             series = data.at("variables").at(1).at("series").at(0);
  EXPECT_GT(data.at("outsideWidth"), 1);
  EXPECT_EQ(data.at("title"), "Peaks");
  EXPECT_EQ(data.at("view"), json({100, 103}));
  const Numbers low = unpacked(series.at("low")), high = unpacked(series.at("high"));
  EXPECT_EQ(*std::min_element(low.begin(), low.end()), -7);
  EXPECT_EQ(*std::max_element(high.begin(), high.end()), 7);
  const Numbers first = unpacked(data.at("rows").at("first")),
                steps = unpacked(data.at("rows").at("steps"));
  double next = 0;
  for (std::size_t row = 0; row < first.size(); ++row) {
    EXPECT_EQ(first[row], next);  // no step is lost or drawn twice
    if (next >= 100 && next <= 103) {
      EXPECT_EQ(steps[row], 0);
    }
    next = first[row] + steps[row] + 1;
  }
  EXPECT_EQ(next, 40'000);
}

TEST_F(PlotTest, FitsAFlightOfAMinuteAtOneKilohertzInThreeMegabytes) {
  run("make flight --seconds 60 --rate 1000");
  expectRun("plot flight.cont --events flight.events -o page.html", {0, "", ""});
  EXPECT_LT(readFile(folder.path("page.html")).size(), 3'000'000U);
}

TEST_F(PlotTest, FitsTwoLogsOfDoublesInThreeMegabytes) {
  for (const double seed : {1.0, 2.0}) {
    std::vector<std::string> columns;
    for (int i = 0; i < 139; ++i) columns.push_back("x" + std::to_string(i));
    std::string log = continuousHeader(columns);
    for (int i = 0; i < 139 * 3000; ++i) log += values({std::sin(seed * i)});
    folder.write(seed == 1 ? "a" : "b", log);
  }
  EXPECT_EQ(plot("a b").at("variables").size(), 139U);
  EXPECT_LT(readFile(folder.path("page.html")).size(), 3'000'000U);
}

TEST_F(PlotTest, RoundsExtentsOutwardsAndNoneForAStrayNumber) {
  std::string log = continuousHeader({"index", "x"});
  for (int i = 0; i < 40'000; ++i) {
    const double usual = i % 100 == 0 ? 0.1 : i % 2 == 0 ? 0.2 : 0.7;
    log += values({double(i), i == 20'000 ? 1e9 : usual});
  }
  folder.write("log", log);
  const json series = plot("log").at("variables").at(1).at("series").at(0);
  EXPECT_EQ(series.at("low").at("type"), "f4");
  for (const double low : unpacked(series.at("low"))) EXPECT_THAT(low, AllOf(Le(0.2), Ge(0.1 - 1e-7)));
  Numbers high = unpacked(series.at("high"));
  const auto stray = std::max_element(high.begin(), high.end());
  EXPECT_THAT(*stray, AllOf(Ge(1e9), Le(1e9 + 64)));
  high.erase(stray);
  for (const double each : high) EXPECT_THAT(each, AllOf(Ge(0.7), Le(0.7 + 1e-7)));
}

TEST_F(PlotTest, TellsOfValuesThatAreNoNumbers) {
  folder.write("log", continuousHeader({"x", "y"}) + values({0, 1, NAN, 1, 2, 1}));
  const json data = plot("log");
  EXPECT_TRUE(data.at("variables").at(0).at("undrawn"));
  EXPECT_FALSE(data.at("variables").at(1).at("undrawn"));
}

TEST_F(PlotTest, OfABlackboxLogHasItsTimesAndTypes) {
  const std::vector<telemetry::VarDesc> variables = {{"x", TLM_VAR_FLOAT, 1, 4},
                                                     {"y", TLM_VAR_DOUBLE, 1, 8}};
  BlackboxBuilder log;
  log.addSection(0, "nav", variables).sample(0, 2, 500'000'000, packed(0.1F, 0.5));
  folder.write("log", log.sample(0, 4, 0, packed(0.2F, 0.5)).end().bytes);
  const json data = plot("log");
  EXPECT_EQ(unpacked(data.at("rows").at("seconds")), (Numbers{0, 1.5}));
  EXPECT_TRUE(data.at("variables").at(0).at("series").at(0).at("float"));
  EXPECT_FALSE(data.at("variables").at(1).at("series").at(0).at("float"));
}

TEST_F(PlotTest, ShowsTheElementThatDiffersFirstAlsoByTheSignOfZero) {
  const std::vector<telemetry::VarDesc> array = {{"v", TLM_VAR_DOUBLE, 16, 8}};
  const auto log = [&](double sign, double last) {
    std::string first, second;
    for (int i = 0; i < 16; ++i) first += packed(i == 15 ? sign : 1.0), second += packed(last);
    return BlackboxBuilder()
        .addSection(0, "nav", array)
        .sample(0, 1, 0, first)
        .sample(0, 1, 1, second)
        .end()
        .bytes;
  };
  folder.write("a", log(0.0, 1));
  folder.write("b", log(-0.0, 2));
  const json data = plot("a b");
  EXPECT_EQ(data.at("panels").at(0).at("title"), "v[15]");
  EXPECT_EQ(data.at("panels").size(), 12U);
  EXPECT_EQ(
      data.at("notes"),
      json(
          {"4 more variables or elements of arrays differ: choose them in the table or add them by name"}));
}

TEST_F(PlotTest, NeverReplacesWhatItReads) {
  const std::string log = continuousHeader({"x"}) + values({1});
  for (const char* name : {"a", "b", "calls"}) folder.write(name, log);
  for (const char* arguments : {"a b -o a", "a b -o b", "a --events calls -o calls"}) {
    EXPECT_THAT(run(std::string("plot ") + arguments).err,
                HasSubstr("is read from, and is not overwritten"));
  }
  for (const char* name : {"a", "b", "calls"}) EXPECT_EQ(readFile(folder.path(name)), log);
}

TEST_F(PlotTest, ShowsOnlyWhatDiffersAndTheDifferenceBelow) {
  folder.write(
      "a", continuousHeader({"index", "same", "x", "y"}) + values({0, 5, 1, 2, 1, 5, 1, 2, 2, 5, 1, 2}));
  folder.write(
      "b", continuousHeader({"index", "same", "x", "y"}) + values({0, 5, 1, 2, 1, 5, 1, 9, 2, 5, 4, 2}));
  const json data = plot("a b");
  ASSERT_EQ(data.at("variables").size(), 2U);
  EXPECT_EQ(numbersOf(data, 1, 0), (Numbers{1, 1, 1}));
  EXPECT_EQ(numbersOf(data, 1, 1), (Numbers{1, 1, 4}));
  EXPECT_EQ(numbersOf(data, 1, 2), (Numbers{0, 0, 3}));
  // The variable that differs first comes first.
  const json yBeforeX =
      json::parse(R"([{"title": "y", "variables": [0]}, {"title": "x", "variables": [1]}])");
  EXPECT_EQ(data.at("panels"), yBeforeX);  // the variable that differs first
  EXPECT_EQ(data.at("view"), json({-199, 201}));
  EXPECT_EQ(data.at("diff").at("compared").at(0).at("first").at("what"), "y");
}

TEST_F(PlotTest, ShowsStepsThatOnlyALogHasBeforeTheOtherBegins) {
  folder.write("a", continuousHeader({"index", "x"}) + values({0, 1, 1, 2, 2, 3}));
  folder.write("b", continuousHeader({"index", "x"}) + values({1, 2, 2, 4}));
  const json data = plot("a b");
  EXPECT_EQ(numbersOf(data, 0, 0), (Numbers{1, 2, 3}));
  EXPECT_EQ(data.at("view"), json({-200, 200}));
}

TEST_F(PlotTest, HoldsGapsAndCalls) {
  folder.write("log", continuousHeader({"index"}) + values({3, 4, 9, 10}));
  folder.write("calls", callsOf(move(3, 0.5, -1) + land(9)));
  const json data = plot("log --events calls");
  EXPECT_EQ(data.at("gaps"), json::parse("[[4, 4]]"));
  const json calls = {{{"index", 3}, {"text", "move(to=0.5, by=-1)"}}, {{"index", 9}, {"text", "land()"}}};
  EXPECT_EQ(data.at("calls"), calls);
}

struct PanelRow : Row {
  std::string options;
  json panels;
};
class PlotPanels : public PlotTest, public testing::WithParamInterface<PanelRow> {};

TEST_F(PlotTest, DrawsConstantsWhereOnlyClocksVary) {
  folder.write("log", continuousHeader({"index", "x"}) + values({0, 5, 1, 5}));
  EXPECT_EQ(plot("log").at("panels").at(0).at("title"), "x");
}

TEST_F(PlotTest, TellsThePanelsOfALongArrayApart) {
  std::vector<std::string> columns;
  for (int i = 0; i < 9; ++i) columns.push_back("v[" + std::to_string(i) + "]");
  folder.write("log", continuousHeader(columns) + values({0, 1, 2, 3, 4, 5, 6, 7, 8}));
  const json panels = plot("log").at("panels");
  EXPECT_EQ(panels.at(0).at("title"), "v[0] to v[7]");
  EXPECT_EQ(panels.at(1).at("title"), "v[8]");
}

TEST_P(PlotPanels, HaveTheseTitlesAndVariables) {
  const std::vector<std::string> columns = {"index",    "a.gyro[0].x", "a.gyro[0].y", "a.gyro[1].x",
                                            "m[0].rpm", "m[1].rpm",    "still",       "outputs.state"};
  folder.write("log", continuousHeader(columns) + values({0, 1, 2, 3, 4, 5, 6, 7}) +
                          values({1, 2, 3, 4, 5, 6, 6, 8}));
  EXPECT_EQ(plot("log " + GetParam().options).at("panels"), GetParam().panels);
}

const PanelRow PANELS[] = {
    {"GroupsThatVaryTheMostTellingFirst", "",
     json::parse(
         R"([{"title": "outputs.state", "variables": [7]}, {"title": "a.gyro[0].*", "variables": [1, 2]},
                     {"title": "a.gyro[1].x", "variables": [3]}, {"title": "m[*].rpm", "variables": [4, 5]}])")},
    {"OneForEachPattern", "--only still --only *.x",
     json::parse(R"([{"title": "still", "variables": [2]}, {"title": "*.x", "variables": [0, 1]}])")},
    {"NoneForAPatternOfNothing", "--only stil[l] --only nothing",
     json::parse(R"([{"title": "still", "variables": [0]}])")},
};
INSTANTIATE_ROWS(PlotPanels, PANELS);

TEST_F(PlotTest, LeavesNoMarkupOfALogInThePage) {
  folder.write("log", continuousHeader({"</script><b>bold</b>"}) + values({1, 2}));
  const json data = plot("log");
  EXPECT_EQ(data.at("variables").at(0).at("name"), "</script><b>bold</b>");
  EXPECT_THAT(readFile(folder.path("page.html")), Not(HasSubstr("<b>bold")));
}

TEST_F(PlotTest, AsksForNothingElse) {
  folder.write("log", continuousHeader({"x"}) + values({1, 2}));
  plot("log");
  const std::string page = readFile(folder.path("page.html"));
  for (const char* request : {"sourceMappingURL", "<link rel=\"style", " src=", "@import", "url("})
    EXPECT_THAT(page, Not(HasSubstr(request)));
  EXPECT_THAT(page, HasSubstr("Permission is hereby granted"));
}

TEST_F(PlotTest, GoesAsFarAsACutLog) {
  folder.write("log", continuousHeader({"x"}) + values({1, 2}) + "cut");
  const ProgramResult result = run("plot log");
  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.err, "ostrelLog: log: cut short after byte 63\n");
  EXPECT_EQ(numbersOf(dataOf(result.out), 0), (Numbers{1, 2}));
}

struct RefusalRow : Row {
  std::string arguments, line;
};
class PlotRefusal : public LogTool, public testing::WithParamInterface<RefusalRow> {};

TEST_P(PlotRefusal, NamesTheReasonAndWritesNoPage) {
  const std::vector<telemetry::VarDesc> x = {{"x", TLM_VAR_INT8, 1, 1}};
  folder.write("two", BlackboxBuilder()
                          .addSection(0, "nav", x)
                          .addSection(1, "sun", x)
                          .sample(0, 0, 0, "x")
                          .sample(1, 0, 0, "x")
                          .end()
                          .bytes);
  folder.write("log", continuousHeader({"x"}) + values({1}));
  folder.write("empty", continuousHeader({"x"}));
  folder.write("calls", callsOf(land(0)));
  expectRun("plot " + GetParam().arguments + " -o page", {1, "", "ostrelLog: " + GetParam().line + "\n"});
  EXPECT_TRUE(readFile(folder.path("page")).empty());
}

const RefusalRow REFUSALS[] = {
    {"NoFile", "none", "none: No such file or directory"},
    {"NoSamples", "empty", "empty: has no samples to plot"},
    {"Calls", "calls",
     "calls: is an event log, which has no curves: give it with --events, next to a log of samples"},
    {"SamplesAsCalls", "log --events log", "log: is no event log"},
    {"PatternOfNothing", "log --only nothing", "--only: names nothing that the log holds"},
    {"SeveralSections", "two",
     "two: has several sections with samples, choose one with --section: nav, sun"},
    {"SectionOfALegacyLog", "log --section nav", "--section: the log has no sections"},
    {"NoSuchSection", "two --section moon", "two: has no samples to plot in a section moon"},
    {"NoSuchStep", "log --from 1", "--from, --to: no such step"},
    {"NothingInCommon", "log empty", "log, empty: nothing was compared: no step in common"},
};
INSTANTIATE_ROWS(PlotRefusal, REFUSALS);

}  // namespace
