#include <gtest/gtest.h>

#include "logfile/ReplayData.hpp"
#include "support/LegacyLog.hpp"
#include "support/LogProbe.hpp"
#include "support/TestFolder.hpp"

namespace {

TEST(IsTlmb, LooksAtTheStartOfTheFirstWord) {
  const TestFolder folder;
  for (const char* bytes : {"TLMB", "TLMB1 x", " \n\t\r\nTLMB\n"}) {
    EXPECT_TRUE(LogFile::isTLMB(folder.write("log", bytes))) << bytes;
  }
  for (const char* bytes : {"TLM", "TLM B", "\xEF\xBB\xBFTLMB", "x TLMB", "", "tlmb", " \n "}) {
    EXPECT_FALSE(LogFile::isTLMB(folder.write("log", bytes))) << bytes;
  }
  EXPECT_FALSE(LogFile::isTLMB(folder.path("missing")));
  EXPECT_FALSE(LogFile::isTLMB(folder.makeDirectory("directory")));
}

TEST(ReplayData, BindsTheStepIndexAndFreezesTheRegistry) {
  const TestFolder folder;
  DataRegistry registry;
  const std::string log = folder.write("log", continuousHeader({"index"}) + values({-5}));
  const ReplayData data(log, registry, LogFile::CONTENTS_CONTINUOUS);
  EXPECT_TRUE(registry.frozen);
  EXPECT_EQ(data.reader->popSample(), 0);
  EXPECT_EQ(data.index, -5);
}

TEST(ReplayDataDeathTest, EndsTheProcessWithoutALog) {
  DataRegistry registry;
  EXPECT_EXIT(ReplayData("/missing/log", registry, LogFile::CONTENTS_CONTINUOUS),
              testing::ExitedWithCode(1), "<3>Could not open /missing/log : Invalid argument\n$");
}

}  // namespace
