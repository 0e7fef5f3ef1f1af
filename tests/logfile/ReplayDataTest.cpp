#include <gtest/gtest.h>

#include "logfile/ReplayData.hpp"
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

TEST(ReplayDataDeathTest, EndsTheProcessWithoutALog) {
  DataRegistry registry;
  EXPECT_EXIT(ReplayData("/missing/log", registry, LogFile::CONTENTS_CONTINUOUS),
              testing::ExitedWithCode(1), "<3>Could not open /missing/log : Invalid argument\n$");
}

}  // namespace
