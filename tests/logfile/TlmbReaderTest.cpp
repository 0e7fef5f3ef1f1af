#include <gmock/gmock.h>

#include <array>
#include <cerrno>

#include "blackboxlog/blackbox_writer.hpp"
#include "logfile/TlmbReader.hpp"
#include "support/BlackboxBuilder.hpp"
#include "support/LogProbe.hpp"
#include "support/Row.hpp"
#include "support/TestFolder.hpp"

using telemetry::VarDesc;
using testing::ElementsAre;

namespace {

const VarDesc X = {"x", TLM_VAR_FLOAT, 1, 4};
const VarDesc OTHER = {"other", TLM_VAR_UINT8, 3, 1};  // no entry of that name: its count does not matter

class TlmbReaderTest : public testing::Test {
 protected:
  TlmbReaderTest() {
    registry.reg("index", &fields.index);
    registry.reg("x", &fields.x);
    registry.freeze();
    EXPECT_EQ(writer.open(log, {{"ro.hardware", "quad"}}), 0);
    unsetenv("TLMB_SECTION_NAME");
  }

  /// A sample of these values, back to back.
  template <class... Values>
  void sample(int id, Values... values) {
    std::string bytes;
    (bytes.append(reinterpret_cast<const char*>(&values), sizeof(values)), ...);
    EXPECT_EQ(writer.sample(static_cast<unsigned int>(id), {}, bytes.data(), bytes.size()), 0);
  }

  /// Ends the log and opens it.
  std::unique_ptr<LogFile::IReader> open() { return open(registry); }
  std::unique_ptr<LogFile::IReader> open(DataRegistry& target) {
    writer.close();
    std::unique_ptr<LogFile::IReader> reader(TlmbReader::create(&target));
    takeLogLines();
    EXPECT_EQ(reader->open(log.c_str()), 0);
    return reader;
  }

  struct {
    int index = 0;
    float x = 0;
  } fields;
  DataRegistry registry;
  TestFolder folder;
  const std::string log = folder.path("log");
  blackboxlog::BlackboxWriter writer;
};

TEST_F(TlmbReaderTest, ReadsTheSamplesOfItsSection) {
  const int foreign = writer.addSection("gps", {INDEX, X});
  const int id = writer.addSection("navdata", {OTHER, X, INDEX});
  sample(foreign, 99, 9.5F);
  sample(id, 'a', 'b', 'c', 1.5F, 7);
  sample(foreign, 98, 9.5F);
  sample(id, 'a', 'b', 'c', 2.5F, 8);
  sample(foreign, 97, 9.5F);
  const auto reader = open();
  for (const int index : {7, 8}) {
    EXPECT_EQ(reader->popSample(), 0);
    EXPECT_EQ(fields.index, index);
    EXPECT_EQ(fields.x, static_cast<float>(index) - 5.5F);
  }
  for (int i = 0; i < 2; ++i) EXPECT_EQ(reader->popSample(), -ENODATA);
  EXPECT_EQ(fields.x, 2.5F);
  EXPECT_THAT(takeLogLines(), ElementsAre("<7>Push x in copy", "<7>Push index in copy", "<7>2 == 2"));
}

TEST_F(TlmbReaderTest, VariantIsThatOfTheLogsHeader) {
  EXPECT_EQ(open()->droneVariant, "quad");
}

TEST_F(TlmbReaderTest, HasNoEvents) {
  std::vector<int> events = {5};
  EXPECT_EQ(open()->popSample(0, events), -ENOSYS);
  EXPECT_THAT(events, ElementsAre(5));
}

TEST_F(TlmbReaderTest, SectionNameComesFromTheEnvironment) {
  sample(writer.addSection("", {INDEX, X}), 3, 0.5F);
  setenv("TLMB_SECTION_NAME", "", 1);
  EXPECT_EQ(open()->popSample(), 0);
}

struct Mapping : Row {
  std::vector<VarDesc> variables;
  std::vector<std::string> lines;
};
class TlmbMapping : public TlmbReaderTest, public testing::WithParamInterface<Mapping> {};

TEST_P(TlmbMapping, FailsAndLeavesTheSectionAside) {
  const int id = writer.addSection("navdata", GetParam().variables);
  std::string bytes;
  for (const VarDesc& each : GetParam().variables) bytes.append(each.elementBytes * each.count, '\x01');
  EXPECT_EQ(writer.sample(static_cast<unsigned int>(id), {}, bytes.data(), bytes.size()), 0);
  const auto reader = open();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(reader->popSample(), -ENODATA);
  std::vector<std::string> lines = GetParam().lines;
  lines.push_back("<4>No section named 'navdata' matched in " + log + ", sections seen : navdata");
  EXPECT_EQ(takeLogLines(), lines);
  EXPECT_EQ(fields.index, 0);
}

const char* const UNFILLED = "<4>The following entries have not been filled";
const char* const PUSH_X = "<7>Push x in copy";
const VarDesc UNSIGNED_INDEX = {"index", TLM_VAR_UINT32, 1, 4};
const VarDesc SHORT_INDEX = {"index", TLM_VAR_INT8, 1, 1};
const std::string MISMATCH = "<4>var index type mismatch (bbox=7, tlmb=";
const Mapping MAPPINGS[] = {
    {"EntryMissing", {X}, {PUSH_X, "<7>1 == 2", UNFILLED, "<6>   index"}},
    {"TypeMismatch", {UNSIGNED_INDEX, X}, {MISMATCH + "5)", PUSH_X, "<7>1 == 2", UNFILLED, "<6>   index"}},
    {"NoSuchEntryClass", {SHORT_INDEX}, {MISMATCH + "2)", "<7>0 == 2", UNFILLED, "<6>   index", "<6>   x"}},
    {"Array", {X, {"index", TLM_VAR_INT32, 2, 4}}, {PUSH_X, "<3>Variables with count > 1 not supported"}},
};
INSTANTIATE_ROWS(TlmbMapping, MAPPINGS);

TEST_F(TlmbReaderTest, RepeatedMappingKeepsThePlanOfEachVariable) {
  BlackboxBuilder built;
  built.addSection(0, "navdata", {X});  // fails, but plans variable 0 for x
  built.changeSection(0, "navdata", {INDEX, X});
  built.sample(0, 0, 0, BlackboxBuilder::raw(0x40000000) + BlackboxBuilder::raw(1.5F));
  writer.close();
  folder.write("log", built.end().bytes);
  EXPECT_EQ(open()->popSample(), 0);
  EXPECT_EQ(fields.index, 0);
  EXPECT_EQ(fields.x, 1.5F);  // variable 1 comes after variable 0, both for x
}

TEST_F(TlmbReaderTest, DamageEndsTheLogWithTheLibrarysResult) {
  sample(writer.addSection("navdata", {INDEX, X}), 3, 1.5F);
  writer.close();
  folder.write("log", readFile(log) + "behind its end");
  const auto reader = open();
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(reader->popSample(), -EBADMSG);
}

TEST_F(TlmbReaderTest, LogThatCanNotBeOpenedIsReported) {
  const auto reader = open();
  EXPECT_EQ(reader->open("/missing"), -ENOENT);
  EXPECT_THAT(takeLogLines(),
              ElementsAre("<3>Unable to open '/missing': err=-2(No such file or directory)"));
}

/// A field of each type, and a guard behind it.
template <class T>
class TlmbField : public TlmbReaderTest {};
using FieldTypes = testing::Types<bool, float, double, short, int, long, unsigned char, unsigned short,
                                  unsigned int, unsigned long>;
TYPED_TEST_SUITE(TlmbField, FieldTypes);

TYPED_TEST(TlmbField, TakesAsManyBytesOfASampleAsItHas) {
  TypeParam field[2] = {};
  DataRegistry target;
  target.reg("field", &field[0]);
  target.freeze();
  const int id = this->writer.addSection("navdata", {{"field", entryTypeNames<TypeParam>.tlmType, 1, 24}});
  this->sample(id, TypeParam(1), TypeParam(1), std::array<char, 24 - 2 * sizeof(TypeParam)>());
  EXPECT_EQ(this->open(target)->popSample(), 0);
  EXPECT_EQ(field[0], TypeParam(1));
  EXPECT_EQ(field[1], TypeParam(0));
}

}  // namespace
