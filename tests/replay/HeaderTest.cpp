#include "replay/ReplayFixture.hpp"

namespace {

const std::string MISMATCH = "<4>ostrelReplay: nentries does not match the size of titles list";
const std::string NO_TITLES = "<3>ostrelReplay: File doesn't have a 'titles' entry";
std::string unusable(const std::string& number) {
  return "<3>ostrelReplay: File has a 'nentries' entry that is not a usable number : " + number;
}

/// The header lines of a continuous log without a sample; the exit status and the tool's lines about them.
struct HeaderLines : Row {
  std::string text;
  int exitStatus;
  Lines lines;
};
class ContinuousHeader : public ReplayFixture, public testing::WithParamInterface<HeaderLines> {};

TEST_P(ContinuousHeader, IsChecked) {
  EXPECT_EQ(replay(header(GetParam().text), APIS).exitStatus, GetParam().exitStatus);
  EXPECT_EQ(linesLike({"<3>ostrelReplay: F", "<4>"}), GetParam().lines);
}

const HeaderLines HEADERS[] = {
    {"Whole", "titles : index\nnentries : 1\n", 0, {}},
    {"CountPlus", "titles : index\nnentries : +1\n", 0, {}},
    {"CountPlusTooMuch", "titles : index\nnentries : +2\n", 0, {MISMATCH}},
    {"CountMinusZero", "titles : index\nnentries : -0\n", 0, {MISMATCH}},
    {"CountMinus", "titles : index\nnentries : -1\n", 1, {unusable("-1")}},
    {"CountMinusLikeOne",
     "titles : index\nnentries : -18446744073709551615\n",
     1,
     {unusable("-18446744073709551615")}},
    {"NoTitlesLine", "nentries : x\n", 1, {NO_TITLES}},
    {"TitlesEmpty", "titles :\nnentries : 0\n", 1, {NO_TITLES}},
    {"TitlesEmptyAndCountWrong", "titles :\nnentries : 1\n", 1, {MISMATCH, NO_TITLES}},
    {"TitlesEmptyAndCountUnusable", "titles :\nnentries : x\n", 1, {unusable("x")}},
    {"TitlesEmptyAndNoCount", "titles :\n", 1, {"<3>ostrelReplay: File doesn't have a 'nentries' entry"}},
};
INSTANTIATE_ROWS(ContinuousHeader, HEADERS);

/// Logs with lines of notes in front of the header line "-- Data".
struct Notes : Row {
  std::size_t lines, lineBytes;
  int exitStatus;
};
class HeaderLength : public ReplayFixture, public testing::WithParamInterface<Notes> {
 protected:
  static std::string withNotes(std::string header) {
    std::string notes;
    for (std::size_t i = 0; i < GetParam().lines; ++i) {
      notes += std::string(GetParam().lineBytes - 1, 'x') + "\n";
    }
    return header.insert(header.find("-- Data"), notes);
  }
  /// What the tool says of a log.
  Lines complaint(const std::string& log) const {
    if (GetParam().exitStatus == 0) return {};
    return {"<3>ostrelReplay: Input file " + folder.path(log) +
            " has no \"-- Data\" line within its header's limit of 4194304 bytes"};
  }
  Lines complaints() const { return linesLike({"<3>ostrelReplay: I", "<3>ostrelReplay: F", "<4>"}); }
};

TEST_P(HeaderLength, OfAContinuousLogIsLimited) {
  EXPECT_EQ(replay(withNotes(COLUMNS), APIS).exitStatus, GetParam().exitStatus);
  EXPECT_EQ(complaints(), complaint("cont"));
}

TEST_P(HeaderLength, OfAnEventLogIsLimited) {
  EXPECT_EQ(replay(COLUMNS, withNotes(APIS)).exitStatus, GetParam().exitStatus);
  EXPECT_EQ(complaints(), complaint("events"));
}

constexpr std::size_t KIB = 1024, LIMIT = 4096 * KIB;
const Notes NOTES[] = {
    {"OneLineWithinTheLimit", 1, LIMIT - KIB, 0}, {"OneLineBeyondTheLimit", 1, LIMIT, 1},
    {"ManyLinesWithinTheLimit", 4095, KIB, 0},    {"ManyLinesBeyondTheLimit", 4096, KIB, 1},
    {"FarBeyondTheLimit", 3, LIMIT, 1},
};
INSTANTIATE_ROWS(HeaderLength, NOTES);

}  // namespace
