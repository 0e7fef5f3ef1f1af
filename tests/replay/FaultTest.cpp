#include "replay/ReplayFixture.hpp"

using testing::AnyOf;
using testing::AnyOfArray;
using testing::Contains;
using testing::Not;

namespace {

/// A made flight of three steps, and the blackbox log of its replay, to be replayed with an export and with
/// settings that it borrows.
class Faults : public ExportFixture {
 protected:
  Faults() {
    runProgram(OSTREL_LOG, {"make", folder.path("flight"), "--seconds", "0.015"});
    variables["SYS_PROP_FILE"] = folder.write("properties", "persist.running-mode=indoor\n");
    variables["TLMB_SECTION_NAME"] = "navdata-replay";
    variables["LD_PRELOAD"] += ":" IO_FAULTS;
    EXPECT_EQ(exportOf("flight.cont").exitStatus, 0);
    EXPECT_THAT(lines, Contains(ran(2)));
    folder.write("blackbox", exported = readFile(output));
  }

  /// Replays the log of this name into `output`, which is not there before.
  ProgramResult start(const std::string& log) {
    std::filesystem::remove(output);
    return run({"-i", folder.path(log), "-e", folder.path("flight.events"), "-d", "board", "-g", output});
  }

  /// The same, and what must hold however that ends.
  ProgramResult exportOf(const std::string& log) {
    ProgramResult result = start(log);
    EXPECT_THAT(result.exitStatus, AnyOf(0, 1));
    EXPECT_EQ(readFile(settings), earlier);
    const std::filesystem::directory_iterator left(folder.path("settings"));
    EXPECT_EQ(std::distance(begin(left), end(left)), 1) << "a lock, or a part of the settings";
    return result;
  }

  /// Replays this log in the place of the one of this name, which comes back afterwards.
  void replayInPlaceOf(const std::string& name, const std::string& bytes) {
    const std::string whole = readFile(folder.path(name));
    folder.write(name, bytes);
    exportOf(name == "flight.events" ? "flight.cont" : name);
    folder.write(name, whole);
  }

  std::string exported;
};

TEST_F(Faults, OfAnyCallOnAFileAreReportedOrChangeNothing) {
  for (const char* log : {"flight.cont", "blackbox"}) {
    exportOf(log);
    const Lines usual = linesLike({"<3>", "<4>"});
    int call = 0;
    do {
      variables["IO_FAULT_AT"] = std::to_string(++call);
      const ProgramResult result = exportOf(log);
      if (result.exitStatus != 0 || readFile(output) != exported) {
        EXPECT_THAT(linesLike({"<3>", "<4>"}), Contains(Not(AnyOfArray(usual)))) << result.err;
      }
    } while (!linesLike({"@fault"}).empty());
    EXPECT_GT(call, 20);
    variables.erase("IO_FAULT_AT");
  }
}

TEST_F(Faults, LogThatIsCutGivesTheStepsBeforeTheCut) {
  constexpr std::size_t endBytes = 20;  // of the block that closes a blackbox log
  for (const char* log : {"flight.cont", "blackbox"}) {
    const std::string whole = readFile(folder.path(log));
    for (std::size_t cut = 0; cut < whole.size(); cut += 1 + whole.size() / 12) {
      replayInPlaceOf(log, whole.substr(0, cut));
      std::string part = readFile(output);
      part.resize(part.size() - std::min(part.size(), endBytes));
      EXPECT_EQ(part, exported.substr(0, part.size())) << log << " cut at byte " << cut;
    }
  }
}

TEST_F(Faults, DamagedLogEndsTheReplayInOrder) {
  for (const char* log : {"flight.cont", "flight.events", "blackbox"}) {
    const std::string whole = readFile(folder.path(log));
    for (std::size_t at = 0; at < whole.size(); at += 1 + whole.size() / 12) {
      SCOPED_TRACE(log + (" damaged at byte " + std::to_string(at)));
      std::string flipped = whole;
      flipped[at] = static_cast<char>(flipped[at] ^ (1 << at % 8));
      replayInPlaceOf(log, flipped);
    }
  }
}

TEST_F(Faults, KilledReplayLeavesTheSettingsUntouchedAndTheNextReplayUndisturbed) {
  const Lines undisturbed = lines;
  variables["PROBE_SIGNALS"] = "OSTREL_process:2=9";
  EXPECT_EQ(start("flight.cont").exitStatus, 128 + 9);
  EXPECT_EQ(readFile(settings), earlier);
  variables.erase("PROBE_SIGNALS");
  exportOf("flight.cont");
  EXPECT_EQ(lines, undisturbed);
  EXPECT_EQ(readFile(output), exported);
}

}  // namespace
