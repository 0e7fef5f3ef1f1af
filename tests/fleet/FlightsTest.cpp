#include <gmock/gmock.h>

#include "ostrelLog/fleet/Flights.hpp"
#include "support/TestFolder.hpp"

using testing::ElementsAre;

namespace logtool {

namespace {

/// Finds flights in a folder of the test's own, which stands for itself in no name.
class Flights : public testing::Test {
 protected:
  Flights() {
    for (const char* file : {"one.cont", "one.events", "two.tlmb", "two.cont", "two.events",
                             "deep/er/three.tlmb", "deep/er/three.events", "lonely.events", "notes.txt"}) {
      folder.makeDirectory(std::filesystem::path(file).parent_path().string());
      folder.write(file, "");
    }
    std::filesystem::create_directory_symlink(folder.path("deep"), folder.path("link"));
  }

  /// The names of the flights, each with what its logs' paths add to the name.
  std::vector<std::string> find(const std::vector<std::string>& words, const Shard& shard = {}) const {
    std::vector<std::string> paths;
    for (const std::string& word : words) paths.push_back(folder.path(word));
    std::vector<Flight> flights;
    EXPECT_FALSE(findFlights(paths, flights));
    keepShard(shard, flights);
    std::vector<std::string> found;
    for (const Flight& flight : flights) {
      found.push_back(inFolder(flight.name) + ": " + inFolder(flight.continuous) + " " +
                      inFolder(flight.events));
    }
    return found;
  }

  std::string inFolder(const std::string& path) const {
    return path.empty() ? "-" : path.substr(folder.path("").size());
  }

  TestFolder folder;
};

const std::string FLIGHT_ONE = "one: one.cont one.events",
                  THREE = "deep/er/three: deep/er/three.tlmb deep/er/three.events";
const std::string TWO_CONT = "two.cont: two.cont two.events", TWO_TLMB = "two.tlmb: two.tlmb two.events";

TEST_F(Flights, AreFoundInAFolderAndInThoseWithinButNotBehindLinks) {
  EXPECT_THAT(find({"."}), ElementsAre(THREE, "lonely: - lonely.events", FLIGHT_ONE, TWO_CONT, TWO_TLMB));
}

TEST_F(Flights, AreNamedByTheirCommonPathOrTheirContinuousLog) {
  EXPECT_THAT(find({"one"}), ElementsAre(FLIGHT_ONE));
  EXPECT_THAT(find({"one.cont", "one"}), ElementsAre(FLIGHT_ONE));
  EXPECT_THAT(find({"two"}), ElementsAre(TWO_CONT, TWO_TLMB));
  EXPECT_THAT(find({"two.tlmb"}), ElementsAre(TWO_TLMB));
  EXPECT_THAT(find({"two.cont", "two.tlmb"}), ElementsAre(TWO_CONT, TWO_TLMB));
  EXPECT_THAT(find({"two", "two.cont"}), ElementsAre(TWO_CONT, TWO_TLMB));
  EXPECT_THAT(find({"gone"}), ElementsAre("gone: - -"));
}

TEST_F(Flights, AreEachInOneShard) {
  std::vector<std::string> all = find({"."}, {1, 3});
  for (const std::uint64_t number : {2U, 3U}) {
    const auto more = find({"."}, {number, 3});
    all.insert(all.end(), more.begin(), more.end());
  }
  EXPECT_THAT(all, testing::UnorderedElementsAreArray(find({"."})));
}

}  // namespace

}  // namespace logtool
