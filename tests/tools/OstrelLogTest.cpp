#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/RunProgram.hpp"
#include "support/TestFolder.hpp"

namespace {

using testing::HasSubstr;

struct Usage {
  const char* label;
  std::vector<std::string> arguments;  // after NAME
  const char* complaint;
};
void PrintTo(const Usage& row, std::ostream* out) {
  *out << row.label;
}

class OstrelLogUsage : public testing::TestWithParam<Usage> {};

TEST_P(OstrelLogUsage, IsRefusedWithoutWriting) {
  const TestFolder folder;
  std::vector<std::string> arguments = {"make", folder.path("flight")};
  arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
  const ProgramResult result = runProgram(OSTREL_LOG, arguments);
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr(GetParam().complaint));
  EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
  EXPECT_FALSE(std::filesystem::exists(folder.path("flight.cont")));
}

INSTANTIATE_TEST_SUITE_P(Faults, OstrelLogUsage,
                         testing::ValuesIn<Usage>({
                             {"NoTime", {"--seconds", "0"}, "--seconds: must be"},
                             {"NegativeTime", {"--seconds", "-1"}, "--seconds: must be"},
                             {"TimeThatIsNoNumber", {"--seconds", "nan"}, "--seconds: must be"},
                             {"EndlessTime", {"--seconds", "inf"}, "--seconds: must be"},
                             {"TooLong", {"--seconds", "360001"}, "--seconds: must be"},
                             {"TimeInWords", {"--seconds", "soon"}, "--seconds"},
                             {"NoRate", {"--rate", "0"}, "--rate: must be"},
                             {"RateTooHigh", {"--rate", "10001"}, "--rate: must be"},
                             {"RateBeyondInt", {"--rate", "4294967496"}, "--rate"},
                             {"TooManySteps", {"--seconds", "300000", "--rate", "10000"}, "steps"},
                             {"NegativeSeed", {"--seed", "-1"}, "--seed: must be"},
                             {"SeedTooLarge", {"--seed", "18446744073709551616"}, "--seed: must be"},
                             {"VariantWithBlank", {"--variant", "quad x"}, "--variant: must be"},
                             {"VariantWithComma", {"--variant", "quad,x"}, "--variant: must be"},
                             {"VariantWithColon", {"--variant", "quad:x"}, "--variant: must be"},
                             {"VariantWithLineFeed", {"--variant", "quad\nx"}, "--variant: must be"},
                             {"EmptyVariant", {"--variant", ""}, "--variant: must be"},
                             {"UnknownOption", {"--speed", "3"}, "--speed"},
                             {"SecondName", {"other"}, "other"},
                         }),
                         [](const auto& row) { return std::string(row.param.label); });

TEST(OstrelLog, NeedsAVerbAndAName) {
  const TestFolder folder;
  const std::vector<std::vector<std::string>> commands = {
      {}, {"make"}, {"unknown"}, {"make", ""}, {"make", folder.path("")}};
  for (const std::vector<std::string>& arguments : commands) {
    EXPECT_EQ(runProgram(OSTREL_LOG, arguments).exitStatus, 2) << testing::PrintToString(arguments);
  }
}

TEST(OstrelLog, HelpNamesEveryOption) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--help"}, {"make", "--help"}}) {
    const ProgramResult result = runProgram(OSTREL_LOG, arguments);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, "");
    for (const char* text : {"make", "NAME", "--seconds S=30", "--rate HZ=200", "--seed N=1",
                             "--variant V=quad-x", "--help", "Exit status"}) {
      EXPECT_THAT(result.out, HasSubstr(text));
    }
  }
}

/// Where one of the two logs can't be written.
struct Obstacle {
  const char* label;
  const char* file;    // that is in the way, in the folder
  const char* target;  // a link to this stands there; null for a directory
  const char* reason;
};
void PrintTo(const Obstacle& row, std::ostream* out) {
  *out << row.label;
}

class OstrelLogWriteFailure : public testing::TestWithParam<Obstacle> {};

TEST_P(OstrelLogWriteFailure, IsReportedAndLeavesNothingNew) {
  const TestFolder folder;
  const std::string file = folder.path(GetParam().file);
  if (GetParam().target == nullptr) {
    folder.makeDirectory(GetParam().file);
  } else {
    std::filesystem::create_symlink(GetParam().target, file);
  }
  const ProgramResult result = runProgram(OSTREL_LOG, {"make", folder.path("flight"), "--seconds", "5"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "ostrelLog: " + file + ": " + GetParam().reason + "\n");
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path("")))
    left.push_back(entry.path());
  EXPECT_THAT(left, testing::ElementsAre(file));
}

INSTANTIATE_TEST_SUITE_P(Obstacles, OstrelLogWriteFailure,
                         testing::ValuesIn<Obstacle>({
                             {"DiskFullForSamples", "flight.cont", "/dev/full", "No space left on device"},
                             {"DiskFullForCalls", "flight.events", "/dev/full", "No space left on device"},
                             {"DirectoryForSamples", "flight.cont", nullptr, "Is a directory"},
                             {"DirectoryForCalls", "flight.events", nullptr, "Is a directory"},
                             {"LinkToNowhere", "flight.cont", "nowhere/at/all",
                              "No such file or directory"},
                         }),
                         [](const auto& row) { return std::string(row.param.label); });

TEST(OstrelLog, ReplacesAnEarlierFlight) {
  const TestFolder folder;
  const std::string samples = folder.write("flight.cont", std::string(1'000'000, 'x'));
  EXPECT_EQ(runProgram(OSTREL_LOG, {"make", folder.path("flight"), "--seconds", "0.1"}).exitStatus, 0);
  const std::string written = readFile(samples);
  EXPECT_LT(written.size(), 100'000U);
  EXPECT_EQ(written.find("xxx"), std::string::npos);
}

}  // namespace
