#include <gtest/gtest.h>

#include "logfile/ReplayData.hpp"
#include "support/LegacyLog.hpp"
#include "support/LogProbe.hpp"
#include "support/TestFolder.hpp"

namespace {

TEST(IsTlmb, LooksAtTheStartOfTheFirstWord) {
  const TestFolder folder;
  const std::pair<const char*, bool> files[] = {
      {"TLMB", true},    {"TLMB1 x", true}, {" \n\t\r\nTLMB\n", true},
      {"TLM", false},    {"TLM B", false},  {"\xEF\xBB\xBFTLMB", false},
      {"x TLMB", false}, {"", false},       {"tlmb", false},
      {" \n ", false},
  };
  for (const auto& [bytes, expected] : files) {
    EXPECT_EQ(LogFile::isTLMB(folder.write("log", bytes)), expected) << '"' << bytes << '"';
  }
  EXPECT_FALSE(LogFile::isTLMB(folder.path("missing")));
  EXPECT_FALSE(LogFile::isTLMB(folder.makeDirectory("directory")));
}

TEST(ReplayData, BindsTheStepIndexAndFreezesTheRegistry) {
  const TestFolder folder;
  DataRegistry registry;
  ReplayData data(folder.write("log", continuousHeader({"index"}) + values({-5})), registry,
                  LogFile::CONTENTS_CONTINUOUS);
  EXPECT_TRUE(registry.frozen);
  EXPECT_EQ(data.reader->popSample(), 0);
  EXPECT_EQ(data.index, -5);

  const ReplayData second(folder.path("log"), registry, LogFile::CONTENTS_CONTINUOUS);
  EXPECT_EQ(second.reader->popSample(), 0);
  EXPECT_EQ(second.index, 0);  // refused: the name is taken and the registry frozen
}

TEST(ReplayDataDeathTest, EndsTheProcessWithoutALog) {
  DataRegistry registry;
  EXPECT_EXIT(ReplayData("/missing/log", registry, LogFile::CONTENTS_CONTINUOUS),
              testing::ExitedWithCode(1), "<3>Could not open /missing/log : Invalid argument\n$");
}

}  // namespace
