#include "replay/ReplayFixture.hpp"

using testing::AnyOf;
using testing::AnyOfArray;
using testing::Contains;
using testing::Not;

namespace {

/// A made flight of three steps, and the blackbox log of its replay, to be replayed with an export and with
/// settings that it borrows.
class Faults : public ReplayFixture {
 protected:
  Faults() {
    runProgram(OSTREL_LOG, {"make", folder.path("flight"), "--seconds", "0.015"});
    variables["SYS_PROP_FILE"] = folder.write("properties", "persist.running-mode=indoor\n");
    folder.makeDirectory("kvs");
    variables["KVS_FILE"] = folder.write("kvs/settings", earlier);
    variables["TLMB_SECTION_NAME"] = "navdata-replay";
    variables["LD_PRELOAD"] += ":" IO_FAULTS;
    EXPECT_EQ(exportOf("flight.cont").exitStatus, 0);
    EXPECT_THAT(lines, Contains("<6>ostrelReplay: Ran 2 steps of ostrel"));
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
    EXPECT_EQ(readFile(folder.path("kvs/settings")), earlier);
    const std::filesystem::directory_iterator left(folder.path("kvs"));
    EXPECT_EQ(std::distance(begin(left), end(left)), 1) << "a lock, or a part of the settings";
    return result;
  }

  const std::string earlier = "# mine\ns tlm-blackbox.logname kept\nb tlm-blackbox.enabled true";
  const std::string output = folder.path("out");
  std::string exported;
};

TEST_F(Faults, OfAnyCallOnFilesAreToldOrDoNoHarm) {
  for (const char* log : {"flight.cont", "blackbox"}) {
    exportOf(log);
    const std::vector<std::string> toldAnyway = linesLike({"<3>", "<4>"});
    int at = 0;
    do {
      variables["IO_FAULT_AT"] = std::to_string(++at);
      const ProgramResult result = exportOf(log);
      if (result.exitStatus != 0 || readFile(output) != exported) {
        EXPECT_THAT(linesLike({"<3>", "<4>"}), Contains(Not(AnyOfArray(toldAnyway)))) << result.err;
      }
    } while (!linesLike({"@fault"}).empty());
    EXPECT_GT(at, 20);
    variables.erase("IO_FAULT_AT");
  }
}

TEST_F(Faults, OfLogsEndInOrder) {
  for (const std::string log : {"flight.cont", "flight.events", "blackbox"}) {
    const std::string whole = readFile(folder.path(log)), samples = log == "blackbox" ? log : "flight.cont";
    for (std::size_t i = 0; i < whole.size(); i += 1 + whole.size() / 12) {
      SCOPED_TRACE(log + std::to_string(i));
      folder.write(log, whole.substr(0, i));
      exportOf(samples);
      if (log == samples) {
        std::string part = readFile(output);
        part.resize(part.size() - std::min(part.size(), 20UL));  // what closes a log
        EXPECT_EQ(part, exported.substr(0, part.size()));
      }
      std::string flipped = whole;
      flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
      folder.write(log, flipped);
      exportOf(samples);
    }
    folder.write(log, whole);
  }
}

TEST_F(Faults, OfAKilledReplayAreNotThoseOfTheNext) {
  const std::vector<std::string> undisturbed = lines;
  variables["PROBE_SIGNAL_AT"] = "2";
  variables["PROBE_SIGNAL"] = "9";
  EXPECT_EQ(start("flight.cont").exitStatus, 128 + 9);
  EXPECT_EQ(readFile(folder.path("kvs/settings")), earlier);
  variables.erase("PROBE_SIGNAL_AT");
  exportOf("flight.cont");
  EXPECT_EQ(lines, undisturbed);
  EXPECT_EQ(readFile(output), exported);
}

}  // namespace
