#include <gmock/gmock.h>

#include <filesystem>

#include "LogTool.hpp"

namespace {

struct UsageRow : Row {
  std::string arguments, fault;
};

class UsageTest : public LogTool, public testing::WithParamInterface<UsageRow> {};

TEST_P(UsageTest, IsRefusedInOneLineBeforeAnythingIsWritten) {
  const std::string& arguments = GetParam().arguments;
  const std::string help = " (see ostrelLog " + arguments.substr(0, arguments.find(' ')) + " --help)\n";
  expectRun(arguments, {2, "", "ostrelLog: " + GetParam().fault + help});
  EXPECT_TRUE(std::filesystem::is_empty(folder.path("")));
}

const std::string SECONDS = "--seconds: must be more than 0 and at most 360000";
const std::string STEPS = "--seconds: more than 2147483647 steps at this rate";
const std::string ODD_RATE = "--rate: must be from 1 to 10000";
const std::string VARIANT = "--variant: must be a word without blanks, ',', ':' and control characters";
const std::string TOLERANCE = "--tolerance: must be 0 or more";
const UsageRow WRONG_USAGES[] = {
    {"NoName", "make", "NAME is required"},
    {"NoFileName", "make folder/", "NAME: must name a file"},
    {"NoTime", "make f --seconds 0", SECONDS},
    {"MoreThan100Hours", "make f --seconds 360000.1 --rate 1", SECONDS},
    {"MoreStepsThanAnIntCounts", "make f --seconds 214748.3648 --rate 10000", STEPS},
    {"RateBelowTheLowest", "make f --rate 0", ODD_RATE},
    {"RateAboveTheHighest", "make f --rate 10001", ODD_RATE},
    {"TextBehindANumber", "make f --seconds 10x", "Could not convert: --seconds = 10x"},
    {"HexadecimalNumber", "diff a b --tolerance 0x10", "Could not convert: --tolerance = 0x10"},
    {"NegativeSeed", "make f --seed -1", "--seed: must be a whole number from 0 to 18446744073709551615"},
    {"VariantWithABlank", "make f --variant \"quad x\"", VARIANT},
    {"VariantWithAControlCharacter", "make f --variant quad\x7fx", VARIANT},
    {"WindowThatEndsBeforeItBegins", "cut a -o b --from 2 --to 1", "--from: is higher than --to"},
    {"ToleranceForOneLog", "plot a --tolerance 1",
     "LOG_B: is missing for --tolerance, --by-record or --section A=B"},
    {"CallsByRecord", "plot a b --by-record --events e",
     "--events: calls have steps, which --by-record does not show"},
    {"LastStepBeforeTheFirst", "plot a --from 2 --to 1", "--from: is higher than --to"},
    {"ToleranceBelowZero", "diff a b --tolerance=-1e-9", TOLERANCE},
};
INSTANTIATE_ROWS(UsageTest, WRONG_USAGES);

using UsageHelp = LogTool;

TEST_F(UsageHelp, OfMakeNamesTheOptionsAndTheirDefaults) {
  const ProgramResult help = run("make --help");
  EXPECT_EQ(help.exitStatus, 0);
  for (const char* text : {"NAME", "--seconds S=30", "--rate HZ=200", "--seed N=1", "--variant V=quad-x"})
    EXPECT_THAT(help.out, testing::HasSubstr(text));
}

TEST_F(UsageHelp, IsThatOfTheProgramWithoutAVerb) {
  expectRun("nonsense", {2, "", "ostrelLog: A subcommand is required (see ostrelLog --help)\n"});
}

}  // namespace
