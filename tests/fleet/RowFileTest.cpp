#include <gtest/gtest.h>

#include "ostrelLog/fleet/RowFile.hpp"
#include "support/TestFolder.hpp"

namespace logtool {

namespace {

/// A row of this key, with what is asked of every row.
Json row(const std::string& key) {
  return {{"key", key}, {"verdict", "same"}, {"files", Json::object()}, {"kept", nullptr}};
}

const std::string ONE = row("one").dump() + "\n", TWO = row("two").dump() + "\n";

class RowFileTest : public testing::Test {
 protected:
  /// Opens a file of these bytes.
  std::optional<Fault> open(const std::string& bytes) {
    return file.open(folder.write("rows", bytes), known);
  }
  std::string content() const { return readFile(folder.path("rows")); }

  TestFolder folder;
  KnownRows known;
  RowFile file;
};

TEST_F(RowFileTest, IsAppendedTo) {
  EXPECT_FALSE(open(ONE));
  EXPECT_EQ(known.verdicts, (std::map<std::string, std::string>{{"one", "same"}}));
  file.append(row("two"));
  EXPECT_EQ(content(), ONE + TWO);
}

TEST_F(RowFileTest, LosesHalfALastLine) {
  for (const std::size_t rest : {std::size_t{1}, TWO.size() - 1}) {
    RowFile cut;
    KnownRows rows;
    EXPECT_FALSE(cut.open(folder.write("rows", ONE + TWO.substr(0, rest)), rows));
    EXPECT_EQ(rows.verdicts.size(), 1U);
    cut.append(row("two"));
    EXPECT_EQ(content(), ONE + TWO);
  }
}

TEST_F(RowFileTest, StaysAsItWasWhenItHoldsNoRows) {
  const std::string notes = "my notes\nwithout an end";
  const auto fault = open(notes);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->reason, "line 1 is no row");
  EXPECT_EQ(content(), notes);
}

TEST_F(RowFileTest, HasOneWriter) {
  EXPECT_FALSE(open(""));
  RowFile other;
  const auto fault = other.open(folder.path("rows"), known);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->reason, "another run writes it");
}

}  // namespace

}  // namespace logtool
