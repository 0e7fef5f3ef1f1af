#include "replay/ReplayFixture.hpp"

namespace {

/// A made flight of three steps, and the blackbox log of its replay, to be replayed with an export and with
/// settings that it borrows.
class Faults : public ReplayFixture {
 protected:
  Faults() {
    runProgram(OSTREL_LOG, {"make", folder.path("flight"), "--seconds", "0.015"});
    variables["SYS_PROP_FILE"] = folder.write("properties", "persist.running-mode=indoor\n");
    variables["TLMB_SECTION_NAME"] = "navdata-replay";
    variables["PRELOAD"] += ":" IO_FAULTS;
    EXPECT_EQ(exportOf("flight.cont").exitStatus, 0);
    folder.write("blackbox", exported = readFile(output));
  }

  /// Replays the log of this name into `output`, which is not there before, and checks what must hold
  /// however that ends.
  ProgramResult exportOf(const std::string& log) {
    std::filesystem::remove(output);
    ProgramResult result =
        run({"-i", folder.path(log), "-e", folder.path("flight.events"), "-d", "board", "-g", output});
    EXPECT_THAT(result.exitStatus, testing::AnyOf(0, 1));
    EXPECT_EQ(readFile(settings), earlier);
    const std::filesystem::directory_iterator left(folder.path("settings"));
    EXPECT_EQ(std::distance(begin(left), end(left)), 1) << "a lock, or a part of the settings";
    return result;
  }

  /// Replays each of these logs with its bytes changed at a dozen places in turn.
  template <class Change, class Check>
  void replayChanged(const Lines& logs, Change change, Check check) {
    for (const std::string& log : logs) {
      const std::string whole = readFile(folder.path(log));
      for (std::size_t at = 0; at < whole.size(); at += 1 + whole.size() / 12) {
        SCOPED_TRACE(log + " changed at byte " + std::to_string(at));
        folder.write(log, change(whole, at));
        exportOf(log == "flight.events" ? "flight.cont" : log);
        check();
      }
      folder.write(log, whole);
    }
  }

  std::string exported;
};

TEST_F(Faults, OfAnyCallOnAFileAreReportedOrChangeNothing) {
  for (const char* log : {"flight.cont", "blackbox"}) {
    exportOf(log);
    const Lines usual = linesLike("<3>|<4>");
    int call = 0;
    do {
      variables["IO_FAULT_AT"] = std::to_string(++call);
      const ProgramResult result = exportOf(log);
      if (result.exitStatus != 0 || readFile(output) != exported) {
        EXPECT_THAT(linesLike("<3>|<4>"), testing::Contains(testing::Not(testing::AnyOfArray(usual))))
            << result.err;
      }
    } while (!linesLike("@fault").empty());
    EXPECT_GT(call, 20);
    variables.erase("IO_FAULT_AT");
  }
}

TEST_F(Faults, LogThatIsCutGivesTheStepsBeforeTheCut) {
  constexpr std::size_t endBytes = 20;  // of the block that closes a blackbox log
  const auto cut = [](const std::string& whole, std::size_t at) { return whole.substr(0, at); };
  replayChanged({"flight.cont", "blackbox"}, cut, [&] {
    std::string part = readFile(output);
    part.resize(part.size() - std::min(part.size(), endBytes));
    EXPECT_EQ(part, exported.substr(0, part.size()));
  });
}

TEST_F(Faults, DamagedLogEndsTheReplayInOrder) {
  const auto flip = [](std::string whole, std::size_t at) {
    whole[at] = static_cast<char>(whole[at] ^ (1 << at % 8));
    return whole;
  };
  replayChanged({"flight.cont", "flight.events", "blackbox"}, flip, [] {});
}

}  // namespace
