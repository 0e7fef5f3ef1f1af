#include <gmock/gmock.h>

#include <filesystem>

#include "LogTool.hpp"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

struct UsageRow : Row {
  std::string arguments, fault;
};

class UsageTest : public LogTool, public testing::WithParamInterface<UsageRow> {};

TEST_P(UsageTest, IsRefusedInOneLineBeforeAnythingIsWritten) {
  expectRun(GetParam().arguments, {2, "", "ostrelLog: " + GetParam().fault + " (see ostrelLog --help)\n"});
  EXPECT_TRUE(std::filesystem::is_empty(folder.path("")));
}

const std::string SECONDS = "--seconds: must be more than 0 and at most 360000";
const std::string STEPS = "--seconds: more than 2147483647 steps at this rate";
const std::string RATE = "--rate: must be from 1 to 10000";
const std::string VARIANT = "--variant: must be a word without blanks, ',', ':' and control characters";
const UsageRow WRONG_USAGES[] = {
    {"NoVerb", "", "A subcommand is required"},
    {"NoName", "make", "NAME is required"},
    {"NoFileName", "make folder/", "NAME: must name a file"},
    {"NoLog", "info", "FILE is required"},
    {"OneLog", "diff a", "B is required"},
    {"NoTime", "make f --seconds 0", SECONDS},
    {"SecondsThatAreNoNumber", "make f --seconds nan", SECONDS},
    {"MoreThan100Hours", "make f --seconds 360000.1 --rate 1", SECONDS},
    {"MoreStepsThanAnIntCounts", "make f --seconds 214748.3648 --rate 10000", STEPS},
    {"RateBelowTheLowest", "make f --rate 0", RATE},
    {"RateAboveTheHighest", "make f --rate 10001", RATE},
    {"VariantWithABlank", "make f --variant \"quad x\"", VARIANT},
    {"VariantWithAComma", "make f --variant quad,x", VARIANT},
    {"VariantWithAColon", "make f --variant quad:x", VARIANT},
    {"VariantWithAControlCharacter", "make f --variant quad\x7fx", VARIANT},
    {"ToleranceBelowZero", "diff a b --tolerance=-1e-9", "--tolerance: must be 0 or more"},
    {"ToleranceThatIsNoNumber", "diff a b --tolerance nan", "--tolerance: must be 0 or more"},
    {"UnknownOption", "make f --speed=3", "The following argument was not expected: --speed=3"},
};
INSTANTIATE_ROWS(UsageTest, WRONG_USAGES);

struct NumberRow : Row {
  std::string verb, option;
  std::vector<std::string> texts;
};

class NoNumber : public LogTool, public testing::WithParamInterface<NumberRow> {};

TEST_P(NoNumber, IsRefusedInOneLineThatNamesTheOption) {
  for (const std::string& text : GetParam().texts) {
    SCOPED_TRACE(text);
    const ProgramResult result = run(GetParam().verb + " " + GetParam().option + " " + text);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, AllOf(StartsWith("ostrelLog: "), HasSubstr(GetParam().option)));
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("")));
  }
}

const NumberRow NO_NUMBERS[] = {
    {"Seconds", "make f", "--seconds", {"soon", "0x10", "10x", "\"1 0\"", "\"\""}},
    {"Rate", "make f", "--rate", {"4294967496", "0x10", "10x", "\"1 0\"", "\"\""}},
    {"Seed", "make f", "--seed", {"-1", "18446744073709551616", "0x10", "10x", "\"1 0\"", "\"\""}},
    {"Tolerance", "diff a b", "--tolerance", {"none", "0x10", "10x", "\"1 0\"", "\"\""}},
};
INSTANTIATE_ROWS(NoNumber, NO_NUMBERS);

struct LeadingZeroRow : Row {
  std::string options, withZeros;
};

class LeadingZeros : public LogTool, public testing::WithParamInterface<LeadingZeroRow> {};

TEST_P(LeadingZeros, LeaveANumberDecimal) {
  run("make f " + GetParam().options);
  run("make zeros " + GetParam().withZeros);
  EXPECT_EQ(readFile(folder.path("zeros.cont")), readFile(folder.path("f.cont")));
  EXPECT_NE(readFile(folder.path("f.cont")), "");
}

const LeadingZeroRow LEADING_ZEROS[] = {
    {"OfASeed", "--seconds 1 --seed 10", "--seconds 1 --seed 010"},
    {"OfSeconds", "--rate 10 --seconds 10", "--rate 10 --seconds 010"},
    {"OfARate", "--seconds 1 --rate 10", "--seconds 1 --rate 010"},
};
INSTANTIATE_ROWS(LeadingZeros, LEADING_ZEROS);

using UsageHelp = LogTool;

TEST_F(UsageHelp, OfMakeNamesTheOptionsAndTheirDefaults) {
  const ProgramResult help = run("make --help");
  EXPECT_EQ(help.exitStatus, 0);
  for (const char* text : {"NAME", "--seconds S=30", "--rate HZ=200", "--seed N=1", "--variant V=quad-x"})
    EXPECT_THAT(help.out, HasSubstr(text));
}

}  // namespace
