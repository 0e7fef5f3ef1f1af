#include <gmock/gmock.h>

#include <filesystem>

#include "support/RunProgram.hpp"
#include "support/TestFolder.hpp"

namespace {

using testing::HasSubstr;

TEST(OstrelLog, RefusesWrongUsageWithoutWriting) {
  const TestFolder folder;
  for (const std::string argument :
       {"--seconds=0", "--seconds=-1", "--seconds=nan", "--seconds=inf", "--seconds=360001",
        "--seconds=soon", "--rate=0", "--rate=10001", "--rate=4294967496", "--seed=-1",
        "--seed=18446744073709551616", "--variant=quad x", "--variant=quad,x", "--variant=quad:x",
        "--variant=quad\nx", "--variant=", "--speed=3", "other"}) {
    const ProgramResult result = runProgram(OSTREL_LOG, {"make", folder.path("flight"), argument});
    EXPECT_EQ(result.exitStatus, 2) << argument;
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr(argument.substr(0, argument.find('='))));
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << argument;
  }
  const std::vector<std::string> tooLong = {"make", folder.path("flight"), "--seconds=300000",
                                            "--rate=10000"};
  const std::vector<std::string> others[] = {{}, {"make"}, {"unknown"}, {"make", folder.path("")}, tooLong};
  for (const auto& arguments : others) {
    EXPECT_EQ(runProgram(OSTREL_LOG, arguments).exitStatus, 2) << testing::PrintToString(arguments);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.path("")));
  const ProgramResult help = runProgram(OSTREL_LOG, {"make", "--help"});
  EXPECT_EQ(help.exitStatus, 0);
  for (const char* text :
       {"NAME", "--seconds S=30", "--rate HZ=200", "--seed N=1", "--variant V=quad-x", "Exit status"})
    EXPECT_THAT(help.out, HasSubstr(text));
}

TEST(OstrelLog, ReportsAWriteFailureAndLeavesNothingNew) {
  const std::tuple<const char*, const char*, const char*> obstacles[] = {
      {"flight.cont", "/dev/full", "No space left on device"},  // a link to this
      {"flight.events", "/dev/full", "No space left on device"},
      {"flight.events", "/", "Is a directory"},
      {"flight.cont", "nowhere/at/all", "No such file or directory"}};
  for (const auto& [name, target, reason] : obstacles) {
    const TestFolder folder;
    const std::string file = folder.path(name);
    std::filesystem::create_symlink(target, file);
    const ProgramResult result = runProgram(OSTREL_LOG, {"make", folder.path("flight"), "--seconds", "5"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ostrelLog: " + file + ": " + reason + "\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 1);
  }
}

}  // namespace
