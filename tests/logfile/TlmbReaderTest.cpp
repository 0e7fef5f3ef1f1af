#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "logfile/TlmbReader.hpp"
#include "support/LogProbe.hpp"
#include "support/TestFolder.hpp"
#include "telemetry/blackbox_writer.hpp"

using telemetry::VarDesc;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const VarDesc INDEX = {"index", TLM_VAR_INT32, 1, 4};
const VarDesc X = {"x", TLM_VAR_FLOAT, 1, 4};
const VarDesc OTHER = {"other", TLM_VAR_UINT8, 3, 1};  // no entry of that name: its count does not matter

class TlmbReaderTest : public testing::Test {
 protected:
  TlmbReaderTest() {
    registry.reg<int>("index", &fields.index);
    registry.reg<float>("x", &fields.x);
    registry.freeze();
    EXPECT_EQ(writer.open(folder.path("log"), {{"ro.hardware", "quad"}}), 0);
    unsetenv("TLMB_SECTION_NAME");
  }

  unsigned int addSection(const std::string& name, const std::vector<VarDesc>& variables) {
    const int id = writer.addSection(name, variables);
    EXPECT_GE(id, 0);
    return static_cast<unsigned int>(id);
  }

  /// A sample of these 4-byte values, in order, and of 3 bytes more for OTHER where it is described.
  template <class... Values>
  void sample(unsigned int id, Values... values) {
    std::string bytes;
    (bytes.append(reinterpret_cast<const char*>(&values), sizeof(values)), ...);
    EXPECT_EQ(writer.sample(id, {}, bytes.data(), bytes.size()), 0);
  }

  /// Ends the log and opens it.
  std::unique_ptr<LogFile::IReader> open() {
    EXPECT_EQ(writer.close(), 0);
    std::unique_ptr<LogFile::IReader> reader(TlmbReader::create(&registry));
    takeLogLines();
    EXPECT_EQ(reader->open(folder.path("log").c_str()), 0);
    return reader;
  }

  // The guard lies behind the last field that is written.
  struct {
    int index = 0;
    float x = 0;
    std::uint32_t guard = 0xA5A5A5A5;
  } fields;
  DataRegistry registry;
  TestFolder folder;
  telemetry::BlackboxWriter writer;
};

TEST_F(TlmbReaderTest, ReadsTheSamplesOfItsSection) {
  const unsigned int foreign = addSection("gps", {INDEX, X});
  const unsigned int id = addSection("navdata", {OTHER, X, INDEX});
  sample(foreign, 99, 9.5F);
  sample(id, 'a', 'b', 'c', 1.5F, 7);
  sample(foreign, 98, 9.5F);
  sample(id, 'a', 'b', 'c', 2.5F, 8);
  auto reader = open();
  EXPECT_EQ(reader->droneVariant, "quad");
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(fields.index, 7);
  EXPECT_EQ(fields.x, 1.5F);
  EXPECT_EQ(reader->popSample(), 0);
  EXPECT_EQ(fields.index, 8);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(reader->popSample(), -ENODATA);
  EXPECT_THAT(takeLogLines(), ElementsAre("<7>Push x in copy", "<7>Push index in copy", "<7>2 == 2"));

  std::vector<int> events = {5};
  EXPECT_EQ(reader->popSample(0, events), -ENOSYS);
  EXPECT_THAT(events, ElementsAre(5));
  EXPECT_EQ(reader->close(), 0);
}

TEST_F(TlmbReaderTest, SectionNameComesFromTheEnvironment) {
  sample(addSection("", {INDEX, X}), 3, 0.5F);
  setenv("TLMB_SECTION_NAME", "", 1);
  EXPECT_EQ(open()->popSample(), 0);
  unsetenv("TLMB_SECTION_NAME");
}

struct Mapping {
  const char* label;
  std::vector<VarDesc> variables;
  std::vector<std::string> lines;
};
void PrintTo(const Mapping& row, std::ostream* out) {
  *out << row.label;
}

class TlmbMapping : public TlmbReaderTest, public testing::WithParamInterface<Mapping> {};

TEST_P(TlmbMapping, FailsAndLeavesTheSectionAside) {
  const unsigned int id = addSection("navdata", GetParam().variables);
  std::size_t bytes = 0;
  for (const VarDesc& variable : GetParam().variables) bytes += variable.elementBytes * variable.count;
  const std::string ones(bytes, '\x01');
  EXPECT_EQ(writer.sample(id, {}, ones.data(), ones.size()), 0);
  auto reader = open();
  EXPECT_EQ(reader->popSample(), -ENODATA);
  std::vector<std::string> lines = takeLogLines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(),
            "<4>No section named 'navdata' matched in " + folder.path("log") + ", sections seen : navdata");
  lines.pop_back();
  EXPECT_EQ(lines, GetParam().lines);
  EXPECT_EQ(fields.index, 0);
  EXPECT_EQ(reader->popSample(), -ENODATA);
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

const std::string UNFILLED = "<4>The following entries have not been filled";
INSTANTIATE_TEST_SUITE_P(
    Sections, TlmbMapping,
    testing::ValuesIn<Mapping>({
        {"EntryMissing", {X}, {"<7>Push x in copy", "<7>1 == 2", UNFILLED, "<6>   index"}},
        {"TypeMismatch",
         {{"index", TLM_VAR_UINT32, 1, 4}, X},
         {"<4>var index type mismatch (bbox=7, tlmb=5)", "<7>Push x in copy", "<7>1 == 2", UNFILLED,
          "<6>   index"}},
        {"TypeWithoutEntryClass",
         {{"index", TLM_VAR_INT8, 1, 1}},
         {"<4>var index type mismatch (bbox=7, tlmb=2)", "<7>0 == 2", UNFILLED, "<6>   index", "<6>   x"}},
        {"Array",
         {X, {"index", TLM_VAR_INT32, 2, 4}},
         {"<7>Push x in copy", "<3>Variables with count > 1 not supported"}},
    }),
    [](const auto& row) { return std::string(row.param.label); });

TEST_F(TlmbReaderTest, WiderSampleIsCutToTheField) {
  const unsigned int id = addSection("navdata", {INDEX, {"x", TLM_VAR_FLOAT, 1, 8}});
  sample(id, 3, 1.5F, -1);
  EXPECT_EQ(open()->popSample(), 0);
  EXPECT_EQ(fields.x, 1.5F);
  EXPECT_EQ(fields.guard, 0xA5A5A5A5U);
}

TEST_F(TlmbReaderTest, RepeatedMappingKeepsThePlanOfEachVariable) {
  const unsigned int id = addSection("navdata", {X});  // fails, but plans variable 0 for x
  ASSERT_EQ(writer.changeSection(id, "navdata", {INDEX, X}), 0);
  sample(id, 0x40000000, 1.5F);
  EXPECT_EQ(open()->popSample(), 0);
  EXPECT_EQ(fields.index, 0);
  EXPECT_EQ(fields.x, 1.5F);  // variable 1 comes after variable 0, both for x
}

TEST_F(TlmbReaderTest, NothingIsCopiedBeforeASectionIsAdopted) {
  writer.close();
  TlmbReaderImpl reader(&registry);
  const int value = 7;
  reader.sample(0xFFFFFFFF, nullptr, 0, INDEX, &value, sizeof(value));
  reader.sampleEnd(0xFFFFFFFF);
  EXPECT_EQ(fields.index, 0);
}

TEST_F(TlmbReaderTest, FailuresComeBackFromTheTelemetryLibrary) {
  const unsigned int id = addSection("navdata", {INDEX, X});
  sample(id, 3, 1.5F);
  writer.close();
  std::string bytes = readFile(folder.path("log"));
  bytes[bytes.size() - 20] ^= 1;
  folder.write("damaged", bytes);
  std::unique_ptr<LogFile::IReader> reader(TlmbReader::create(&registry));
  EXPECT_EQ(reader->open(folder.path("damaged").c_str()), 0);
  int result = 0;
  while (result == 0) result = reader->popSample();
  EXPECT_EQ(result, -EBADMSG);

  takeLogLines();
  EXPECT_EQ(reader->open("/missing"), -ENOENT);
  EXPECT_THAT(takeLogLines(),
              ElementsAre("<3>Unable to open '/missing': err=-2(No such file or directory)"));
}

}  // namespace
