#include "replay/ReplayFixture.hpp"

using testing::ElementsAre;

namespace {

using ReplaySetUp = ReplayFixture;

TEST_F(ReplaySetUp, WrongCountOfColumnsIsAWarning) {
  EXPECT_EQ(replay(header("titles : index\nnentries : +2\n"), APIS).exitStatus, 0);
  EXPECT_EQ(linesLike("<4>"), Lines{"<4>nentries does not match the size of titles list"});
}

TEST_F(ReplaySetUp, LogsThatAreNoneEndIt) {
  EXPECT_EQ(replay(" TLMB", APIS).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>Could not open cont : Invalid argument");
  EXPECT_EQ(replay(COLUMNS, header("titles : f\n")).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>File doesn't have a 'type' entry");
}

/// Lines of the logs' headers, the property file and the command line, and what follows from them.
struct Sources : Row {
  std::string continuous, events, properties;
  Lines options;
  std::string line, variantAndMode;
};
class Variant : public ReplaySetUp, public testing::WithParamInterface<Sources> {};

TEST_P(Variant, AndRunningModeComeFromTheFirstSourceThatHasOne) {
  const Sources& given = GetParam();
  variables["SYS_PROP_FILE"] = folder.write("properties", given.properties);
  const std::string continuous = continuousHeader({"index"}, given.continuous);
  EXPECT_EQ(replay(continuous, eventHeader("land", "0", "x", given.events), given.options).exitStatus, 0);
  EXPECT_THAT(linesLike("<3>|@OSTREL_new"),
              ElementsAre("<3>" + given.line, "@OSTREL_new " + given.variantAndMode));
}

const std::string C = "ro.hardware : c\n", E = "product : e\n", P = "ro.hardware=p\n";
const std::string INDOOR = "persist.running-mode=indoor\n", NO_MODE = "persist.running-mode=\n";
const std::string GIVEN = "Using droneVariant given in args : board", FOUND = "droneVariant found ";
const Sources SOURCES[] = {
    {"Options", C, E, P + INDOOR, {"-d", "board", "-m", "arg"}, GIVEN, "board arg"},
    {"ContinuousLog", C, E, P + INDOOR, {}, FOUND + "in Data file : c", "c indoor"},
    {"EventLog", "ro.hardware\n", E, P, {}, FOUND + "in Event file : e", "e default"},
    {"Properties", "", "", P + NO_MODE, {}, FOUND + "from system properties : p", "p "},
};
INSTANTIATE_ROWS(Variant, SOURCES);

TEST_F(ReplaySetUp, WithoutAnyVariantItEndsAfterBothLogsWereOpened) {
  variables["SYS_PROP_FILE"] = folder.write("properties", "ro.hardware=\n");
  EXPECT_EQ(replay(samples({}), APIS, {}).exitStatus, 1);
  EXPECT_THAT(linesLike("<3>|@OSTREL_new"),
              ElementsAre("<3>No drones variant found in log file and in properties,please "
                          "give your variant with -d VARIANT"));
}

TEST_F(ReplaySetUp, PropertiesThatCanNotBeReadFailTheRun) {
  variables["SYS_PROP_FILE"] = folder.makeDirectory("unreadable");
  EXPECT_EQ(replay(COLUMNS, APIS).exitStatus, 1);
  EXPECT_EQ(lines.back(), "<3>Could not get running mode from properties");
}

}  // namespace
