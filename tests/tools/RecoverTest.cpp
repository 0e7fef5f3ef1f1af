#include <sys/stat.h>

#include <filesystem>
#include <numeric>
#include <random>
#include <variant>

#include "CopiedLog.hpp"
#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/rescue/LogCopy.hpp"
#include "ostrelLog/summary/LogSummary.hpp"

namespace {

using RecoverOf = CopiedLog;
TEST_P(RecoverOf, WritesWhatCanBeTrustedAndSaysWhatWasLost) {
  expectCopy("recover log -o new", "");
}

const std::string START = callsOf(move(1, 2, 3)), REST = land(4) + land(5);
const std::string ENDED = sections().sample(0, 1, 2, nav(3)).removeSection(1).end().bytes;
const std::string OPEN = cutBy(20, ENDED);
const std::string NO_SIZE = values({0, 4, 1, 5, 6}), DOUBLE_SIZE = values({48, 4, 0}), ZEROS(48, '\0');
const std::string CONTRADICTED = START + event(4, 0, {24, 9}) + event(4, 9) + REST;
const std::string THREE = "3 records, steps 1 to 5", ONE = "1 record, steps 3 to 3";
const std::string CLOSING = "  closed     the log had no end block, the new one has\n";
std::string leftOut(int bytes, const std::string& lead = "next whole one") {
  return "  lost       1 damaged record of " + std::to_string(bytes) + " bytes, the first at byte " +
         behind(START) + " behind step 1; the sizes of the records lead to the " + lead + "\n";
}
const CopyRow DAMAGES[] = {
    {"CallWithoutASize", START + NO_SIZE + REST, START + REST, THREE, leftOut(40), 3},
    {"CallThatWouldSwallowTheNext", START + DOUBLE_SIZE + REST, START + REST, THREE, leftOut(24), 3},
    {"LastCallWithoutASize", START + NO_SIZE, START, "1 record, steps 1 to 1", leftOut(40, "log's end"), 3},
    {"CallsThatTheHeaderContradicts", CONTRADICTED, CONTRADICTED, "5 records, steps 1 to 5",
     "  unusual    2 records that the header contradicts, kept as they are\n"},
    {"ZerosBeforeCalls", START + ZEROS + REST, START, "1 record, steps 1 to 1",
     "  lost       an unknown number of records behind step 1, 96 bytes: damaged at byte " + behind(START) +
         ": the record sizes do not lead on\n",
     3},
    {"UnclosedBlackboxLog", OPEN, ENDED, ONE, CLOSING},
    {"BytesBehindTheEndBlock", ENDED + "more", ENDED, ONE,
     "  lost       an unknown number of records behind step 3, 24 bytes: damaged at byte " + behind(OPEN) +
         "\n  closed     an end block was added behind the last whole block\n",
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
                                {sections().bytes, ENDED.substr(OPEN.size()), {}}};
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

  /// What is saved of a log to which `more` is appended once it was opened.
  std::string recoverGrowing(const std::string& log, const std::string& more) {
    logtool::LogBytes bytes;
    bytes.open(folder.write("log", log));
    std::string fault, saved;
    const auto pieces = logtool::Pieces::open(folder.write("log", log + more), bytes, fault);
    for (logtool::Piece piece{}; pieces->next(piece);)
      saved += log.substr(saved.size(), piece.end - piece.begin);
    EXPECT_EQ(saved.size() + pieces->losses().endBytes, log.size());
    return saved + pieces->closing();
  }

  /// Cuts the log at a place, also before the rest comes, and flips bits there.
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
    ASSERT_TRUE(front.empty() || recoverGrowing(all.substr(0, place), all.substr(place)) == front);

    for (const int bits : {0x01, 0x18, 0x80}) {
      std::string flipped = all;
      flipped[place] = static_cast<char>(flipped[place] ^ bits);
      const std::string saved = recover(flipped);
      if (!log.closing.empty()) {
        ASSERT_EQ(saved, front);  // nothing behind a damaged block can be trusted
      } else if (place >= log.header.size() && saved != flipped) {
        ASSERT_EQ(log.header, callsOf(""));
        ASSERT_EQ(saved, flipped.erase(begin, log.records[record].size()));
      }
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

TEST_F(RecoverTest, WritesLogsThatReplay) {
  run("make flight --seconds 20 --rate 50");
  for (const std::string log : {".cont", ".events"}) {
    folder.write("cut" + log, cutBy(9, readFile(folder.path("flight" + log))));
    run("recover cut" + log + " -o saved" + log);
  }
  // The last call that was saved is read together with the log's end.
  EXPECT_EQ(replayedCalls(folder, "saved") + "<7>ostrel: call set_motors_armed(armed=0)\n",
            replayedCalls(folder, "flight"));
}

TEST_F(RecoverTest, WritesNothingWhereNothingCanBeSavedOrOverTheLog) {
  const std::string log = continuousHeader({"x"}) + "cut";
  folder.write("log", log);
  std::filesystem::create_symlink("log", folder.path("link"));
  std::filesystem::create_hard_link(folder.path("log"), folder.path("twin"));
  expectRun("recover log -o new",
            {1, "", "ostrelLog: log: no whole record, and the log is cut short after byte 47\n"});
  std::filesystem::create_symlink("loop", folder.path("loop"));
  mkfifo(folder.path("fifo").c_str(), 0600);
  const ProgramResult isLog{2, "",
                            "ostrelLog: --output: is the log itself (see ostrelLog recover --help)\n"};
  const std::pair<std::string, ProgramResult> RESULTS[] = {
      {"log", isLog},
      {"link", isLog},
      {"twin", isLog},
      {"\"\"", {2, "", "ostrelLog: --output: must name a file (see ostrelLog recover --help)\n"}},
      {"loop", {1, "", "ostrelLog: loop: Too many levels of symbolic links\n"}},
      {"fifo", {1, "", "ostrelLog: fifo: a pipe that nothing reads, or a missing device\n"}},
  };
  for (const auto& [name, refusal] : RESULTS) expectRun("recover log -o " + name, refusal);
  EXPECT_EQ(readFile(folder.path("log")), log);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 5);
}

}  // namespace
