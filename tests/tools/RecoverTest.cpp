#include <filesystem>
#include <numeric>
#include <random>
#include <variant>

#include "CopiedLog.hpp"
#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/rescue/LogCopy.hpp"

namespace {

using RecoverOf = CopiedLog;
TEST_P(RecoverOf, WritesWhatCanBeTrustedAndSaysWhatWasLost) {
  expectCopy("recover log -o new", "");
}

const std::string START = callsOf(move(1, 2, 3)), REST = land(4) + land(5);
const std::string CLOSED = sections().sample(0, 1, 2, nav(3)).removeSection(1).end().bytes;
const std::string OPEN = cutBy(20, CLOSED);
const std::string NO_SIZE = values({0, 4, 1, 5, 6}), DOUBLE_SIZE = values({48, 4, 0}), ZEROS(48, '\0');
const std::string CONTRADICTED = START + event(4, 0, {24, 9}) + event(4, 9) + REST;
const std::string THREE = "3 records, steps 1 to 5", ONE = "1 record, steps 3 to 3";
const std::string CLOSING = "  closed     the log had no end block, the new one has\n";
std::string leftOut(int bytes) {
  return "  lost       1 damaged record of " + std::to_string(bytes) + " bytes, the first at byte " +
         behind(START) + " behind step 1; the sizes of the records lead to the next whole one\n";
}
const CopyRow DAMAGES[] = {
    {"CallWithoutASize", START + NO_SIZE + REST, START + REST, THREE, leftOut(40), 3},
    {"CallThatWouldSwallowTheNext", START + DOUBLE_SIZE + REST, START + REST, THREE, leftOut(24), 3},
    {"CallsThatTheHeaderContradicts", CONTRADICTED, CONTRADICTED, "5 records, steps 1 to 5",
     "  unusual    2 records that the header contradicts, kept as they are\n"},
    {"ZerosBeforeCalls", START + ZEROS + REST, START, "1 record, steps 1 to 1",
     "  lost       an unknown number of records behind step 1, 96 bytes: damaged at byte " + behind(START) +
         ": the record sizes do not lead on\n",
     3},
    {"UnclosedBlackboxLog", OPEN, CLOSED, ONE, CLOSING},
    {"BytesBehindTheEndBlock", CLOSED + "more", CLOSED, ONE,
     "  lost       an unknown number of records behind step 3, 24 bytes: damaged at byte " + behind(OPEN) +
         "\n" + CLOSING,
     3},
};
INSTANTIATE_ROWS(RecoverOf, DAMAGES);

struct WholeLog {
  std::string bytes() const { return std::accumulate(records.begin(), records.end(), header) + closing; }

  std::string header, closing;
  std::vector<std::string> records;
};

/// A log of each kind.
std::vector<WholeLog> logsOf(short count) {
  std::vector<WholeLog> logs = {{continuousHeader({"index", "y"}), "", {}},
                                {callsOf(""), "", {}},
                                {sections().bytes, CLOSED.substr(OPEN.size()), {}}};
  for (short i = 0; i < count; ++i) {
    logs[0].records.push_back(values({1.0 * i, 0.1}));
    logs[1].records.push_back(i % 3 == 1 ? land(i) : move(i, 24, 0.5 * i));
    BlackboxBuilder block = BlackboxBuilder().sample(0, i, 0, nav(i));
    if (i % 3 == 1) block = BlackboxBuilder().sample(1, i, 0, "abc");
    logs[2].records.push_back(block.bytes.substr(BlackboxBuilder().bytes.size()));
  }
  return logs;
}

class RecoverTest : public LogTool {
 protected:
  /// Recovers a log in this process, since that is done thousands of times. Empty when nothing is saved.
  std::string recover(const std::string& log) {
    setenv("LOG_LEVEL", "0", 1);
    std::filesystem::remove(folder.path("new"));
    const auto result = logtool::copyLog(folder.write("log", log), folder.path("new"), {});
    if (const auto* copy = std::get_if<logtool::LogCopy>(&result)) {
      EXPECT_EQ(copy->keptBytes + copy->losses.bytes + copy->losses.endBytes, log.size());
      std::string fault;
      const std::unique_ptr<LogSource> written = openLog(folder.path("new"), fault);
      EXPECT_EQ(logtool::summarize(*written).end.text(), "whole");
    }
    return readFile(folder.path("new"));
  }

  /// Cuts the log at a place, and flips a bit there.
  void damage(const WholeLog& log, std::size_t place) {
    SCOPED_TRACE(place);
    const std::string all = log.bytes();
    std::size_t begin = log.header.size(), record = 0;  // of the record at the place
    while (record < log.records.size() && place >= begin + log.records[record].size()) {
      begin += log.records[record++].size();
    }
    std::string front = record == 0 ? "" : all.substr(0, begin) + log.closing;
    // An event log without calls is whole, too.
    if (place == log.header.size() && log.header == callsOf("")) front = log.header;
    ASSERT_EQ(recover(all.substr(0, place)), front);

    std::string flipped = all;
    flipped[place] = static_cast<char>(flipped[place] ^ (1 << place % 8));
    const std::string saved = recover(flipped);
    if (!log.closing.empty()) {
      ASSERT_EQ(saved, front);  // nothing behind a damaged block can be trusted
    } else if (place >= log.header.size() && saved != flipped) {
      ASSERT_EQ(log.header, callsOf(""));
      ASSERT_EQ(saved, flipped.erase(begin, log.records[record].size()));
    }
  }
};

TEST_F(RecoverTest, KeepsWhatIsWholeAtEveryByteOfShortLogs) {
  for (const WholeLog& log : logsOf(3)) {
    for (std::size_t place = 0; place < log.bytes().size(); ++place) damage(log, place);
  }
}

TEST_F(RecoverTest, KeepsWhatIsWholeAtRandomPlacesOfLongLogs) {
  std::mt19937 random;
  for (const WholeLog& log : logsOf(2000)) {
    for (int i = 0; i < 20; ++i) damage(log, random() % log.bytes().size());
  }
}

TEST_F(RecoverTest, WritesNothingWhereNothingCanBeSavedOrOverTheLog) {
  const std::string log = continuousHeader({"x"}) + "cut";
  folder.write("log", log);
  std::filesystem::create_symlink("log", folder.path("link"));
  std::filesystem::create_hard_link(folder.path("log"), folder.path("twin"));
  expectRun("recover log -o new",
            {1, "", "ostrelLog: log: no whole record, and the log is cut short after byte 47\n"});
  for (const char* name : {"log", "link", "twin"}) {
    expectRun(std::string("recover log -o ") + name,
              {2, "", "ostrelLog: --output: is the log itself (see ostrelLog --help)\n"});
  }
  EXPECT_EQ(readFile(folder.path("log")), log);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 3);
}

}  // namespace
