#include <sys/stat.h>

#include "replay/ReplayFixture.hpp"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using ReplaySetUp = ReplayFixture;

TEST_F(ReplaySetUp, ContinuousLogThatIsNoneEndsIt) {
  const std::string log = folder.path("cont");
  EXPECT_EQ(replay(" TLMB", APIS).exitStatus, 1);
  EXPECT_THAT(linesLike({"<3>ostrelReplay", "@OSTREL", "@Api"}),
              ElementsAre("<3>ostrelReplay: Unable to open '" + log + "': err=-22(Invalid argument)",
                          "<3>ostrelReplay: Could not open " + log + " : Invalid argument"));
}

TEST_F(ReplaySetUp, BlackboxLogServesForNoEvents) {
  EXPECT_EQ(replay(samples({0}), "TLMB\n").exitStatus, 1);
  EXPECT_THAT(
      linesLike({"<3>", "@OSTREL"}),
      ElementsAre(HasSubstr("badly formatted"), "<3>ostrelReplay: File doesn't have a 'type' entry"));
}

TEST_F(ReplaySetUp, EventLogThatCanNotBeOpenedEndsItOnceTheContinuousLogIsOpen) {
  const std::string socket = folder.path("socket");
  ASSERT_EQ(mknod(socket.c_str(), S_IFSOCK | 0600, 0), 0);
  EXPECT_EQ(run({"-i", folder.write("cont", samples({0})), "-e", socket, "-d", "board"}).exitStatus, 1);
  EXPECT_THAT(linesLike({"<3>", "<4>", "@Api", "@OSTREL"}),
              ElementsAre("@Api::Input replayed",
                          "<3>ostrelReplay: Could not open " + socket + " : Invalid argument"));
}

TEST_F(ReplaySetUp, FolderIsNoLog) {
  const std::string directory = folder.makeDirectory("directory");
  EXPECT_EQ(run({"-i", directory, "-e", directory, "-d", "board"}).exitStatus, 1);
  EXPECT_THAT(lines, Contains("<3>ostrelReplay: Could not read " + directory + " : Is a directory"));
}

/// Where the variant may come from: two header lines, a line of the properties, and the command line.
struct Sources : Row {
  std::string continuous, events, properties;
  Lines options;
  std::string line, variant;
};
class Variant : public ReplaySetUp, public testing::WithParamInterface<Sources> {};

TEST_P(Variant, IsTheFirstThatHasOne) {
  const Sources& given = GetParam();
  variables["SYS_PROP_FILE"] = folder.write("properties", given.properties);
  const std::string continuous = continuousHeader({"index"}, given.continuous);
  EXPECT_EQ(replay(continuous, eventHeader("land", "0", "x", given.events), given.options).exitStatus, 0);
  EXPECT_THAT(linesLike({"<3>", "@OSTREL_new"}),
              ElementsAre("<3>ostrelReplay: " + given.line + given.variant,
                          "@OSTREL_new " + given.variant + " default"));
}

const std::string C = "ro.hardware : c\n", E = "product : e\n", P = "ro.hardware=p\n";
const Sources SOURCES[] = {
    {"CommandLine", C, E, P, {"-d", "board"}, "Using droneVariant given in args : ", "board"},
    {"ContinuousLog", C, E, P, {}, "droneVariant found in Data file : ", "c"},
    {"EventLog", "ro.hardware\n", E, P, {}, "droneVariant found in Event file : ", "e"},
    {"Properties", "", "", P, {}, "droneVariant found from system properties : ", "p"},
};
INSTANTIATE_ROWS(Variant, SOURCES);

TEST_F(ReplaySetUp, WithoutAnyVariantItEndsAfterBothLogsWereOpened) {
  variables["SYS_PROP_FILE"] = folder.write("properties", "ro.hardware=\n");
  EXPECT_EQ(replay(samples({}), APIS, {}).exitStatus, 1);
  EXPECT_THAT(linesLike({"<3>", "@OSTREL_new"}),
              ElementsAre("<3>ostrelReplay: No drones variant found in log file and in properties,please "
                          "give your variant with -d VARIANT"));
}

}  // namespace
