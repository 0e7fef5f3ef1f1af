#include <gmock/gmock.h>

#include <cerrno>

#include "blackboxlog/blackbox_writer.hpp"
#include "support/BlackboxBuilder.hpp"
#include "support/LogProbe.hpp"
#include "support/TestFolder.hpp"
#include "telemetry/blackbox_position.hpp"
#include "telemetry/blackbox_reader.hpp"

using testing::ElementsAre;
using testing::StartsWith;

namespace {

/// Reads one log to its end: what it delivered, as text, and how it ended.
struct Reading : telemetry::BlackboxReaderItfCb {
  explicit Reading(const std::string& path) {
    takeLogLines();
    result = reader->open(path);
    while (result == 0) result = reader->step();
    lines = takeLogLines();
    position = dynamic_cast<const telemetry::BlackboxPosition*>(reader.get())->position();
  }
  void sectionAdded(unsigned int id) override { out << "added " << id << "\n"; }
  void sectionRemoved(unsigned int id) override { out << "removed " << id << "\n"; }
  void sectionChanged(unsigned int id, const void* description, std::size_t size) override {
    out << "changed " << reader->sectionNameOf(id, description, size) << "\n";
  }
  void sampleBegin(unsigned int id, const timespec* at, const void*, std::size_t size) override {
    out << "sample of " << id << " at " << at->tv_sec << " " << at->tv_nsec << ", " << size << " bytes";
  }
  void sample(unsigned int, const timespec*, unsigned int index, const telemetry::VarDesc& variable,
              const void* bytes, std::size_t size) override {
    out << ", " << index << " " << variable.name << " of type " << variable.type << " "
        << std::string(static_cast<const char*>(bytes), size);
  }
  void sampleEnd(unsigned int) override { out << "\n"; }
  void fileHeader(const std::map<std::string, std::string>& values) override {
    for (const auto& [key, value] : values) out << key << "=" << value << "\n";
  }

  std::unique_ptr<telemetry::BlackboxReaderItf> reader{telemetry::BlackboxReaderItf::create(this)};
  int result;
  std::uint64_t position;
  std::ostringstream out;
  std::vector<std::string> lines;
};

const std::vector<telemetry::VarDesc> BYTE = {{"v", TLM_VAR_UINT8, 1, 1}};
const std::vector<telemetry::VarDesc> TWO = {{"a", TLM_VAR_UINT16, 1, 2}, {"b", TLM_VAR_DOUBLE, 2, 8}};
const BlackboxBuilder::Values HEADER = {{"note", ""}, {"ro.hardware", "BOARD"}};

struct Blackbox : testing::Test {
  const TestFolder folder;
  const std::string path = folder.path("flight.tlmb");
  /// A log of one block of each kind.
  const std::string log = BlackboxBuilder(HEADER)
                              .addSection(7, "two", TWO)
                              .sample(7, 5, 9, "ABabcdefghABCDEFGH")
                              .changeSection(7, "one", BYTE)
                              .sample(7, -6, 2'000'000'000, "C")
                              .removeSection(7)
                              .addSection(7, "", {})
                              .end()
                              .bytes;
  const std::string delivered =
      "note=\nro.hardware=BOARD\nadded 7\nchanged two\n"
      "sample of 7 at 5 9, 18 bytes, 0 a of type 3 AB, 1 b of type 10 abcdefghABCDEFGH\nchanged one\n"
      "sample of 7 at -6 2000000000, 1 bytes, 0 v of type 1 C\nremoved 7\nadded 7\nchanged \n";
};

TEST_F(Blackbox, WholeLogIsDeliveredBlockByBlock) {
  const Reading reading(folder.write("whole", log));
  EXPECT_EQ(reading.out.str(), delivered);
  EXPECT_EQ(reading.result, -ENOENT);
  EXPECT_EQ(reading.position, log.size());
  EXPECT_THAT(reading.lines, ElementsAre());
}

TEST_F(Blackbox, LogCutAtAnyByteEndsAfterItsLastWholeBlock) {
  for (std::size_t size = 4; size < log.size(); ++size) {
    const Reading reading(folder.write("cut", log.substr(0, size)));
    EXPECT_THAT(delivered, StartsWith(reading.out.str())) << size;
    EXPECT_EQ(reading.result, -ENOENT) << size;
    EXPECT_THAT(reading.lines,
                ElementsAre("<4>" + folder.path("cut") + ": cut short after byte " +
                            std::to_string(reading.position) + ", the end of its last whole block"));
  }
}

TEST_F(Blackbox, FlippedBitAnywhereDeliversNoWrongValue) {
  for (std::size_t i = 4; i < log.size(); ++i) {
    std::string flipped = log;
    flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
    const Reading reading(folder.write("flipped", flipped));
    EXPECT_EQ(reading.result, i < 8 ? -ENOTSUP : -EBADMSG) << i;  // the version, the blocks
    EXPECT_THAT(delivered, StartsWith(reading.out.str())) << i;
  }
}

TEST_F(Blackbox, DamagedBlockEndsTheReadWithAnErrorLine) {
  using Log = BlackboxBuilder;
  const std::pair<std::string, std::string> damages[] = {
      {Log().block(5, 0, "", 1048577).bytes, "larger than any block"},
      {Log().sample(0, 0, 0, "v").bytes, "a sample of a section that does not exist"},
      {Log().addSection(0, "", BYTE).sample(0, 0, 0, "vv").bytes,
       "a sample of another size than its section's"},
      {Log().addSection(3, "", BYTE).addSection(3, "", BYTE).bytes, "adds a section that exists"},
      {Log().addSection(0, "", {{"v", TLM_VAR_INT8, 1ULL << 62, 4}}).bytes,
       "a variable of impossible size"},
      {Log().addSection(0, "", {{"v", TLM_VAR_INT8, 1048561, 1}}).bytes, "a variable of impossible size"},
      {Log().block(2, 0, Log::text("") + Log::number32(1)).bytes,
       "a section description that does not fit"},
      {Log().block(2, 0, std::string(12, '\0')).bytes, "a section description that does not fit"},
      {Log().end().bytes + "?", "followed by more, though it is the last"},
      {"TLMB" + Log::number32(1) + Log().end().bytes.substr(32), "not the header values that come first"},
  };
  for (const auto& [bytes, complaint] : damages) {
    const Reading reading(folder.write("bad", bytes));
    EXPECT_EQ(reading.result, -EBADMSG);
    EXPECT_THAT(
        reading.lines,
        ElementsAre(testing::MatchesRegex("<3>.*/bad: damaged in the block at byte [0-9]+: " + complaint)));
  }
}

TEST_F(Blackbox, WriterReplacesALongerOlderLogByTheDocumentedBytes) {
  folder.write("flight.tlmb", std::string(100'000, 'x'));
  blackboxlog::BlackboxWriter writer;
  EXPECT_EQ(writer.open(path, HEADER), 0);
  EXPECT_EQ(readFile(path), BlackboxBuilder(HEADER).bytes);
  EXPECT_EQ(writer.addSection("first", BYTE), 0);
  EXPECT_EQ(writer.addSection("second", TWO), 1);
  EXPECT_EQ(writer.sample(1, {5, 9}, "ABabcdefghABCDEFGH", 18), 0);
  EXPECT_EQ(writer.sample(0, {-6, 7}, "C", 1), 0);
  EXPECT_EQ(writer.close(), 0);
  BlackboxBuilder expected(HEADER);
  expected.addSection(0, "first", BYTE).addSection(1, "second", TWO);
  EXPECT_EQ(readFile(path),
            expected.sample(1, 5, 9, "ABabcdefghABCDEFGH").sample(0, -6, 7, "C").end().bytes);
}

TEST(BlackboxWriter, SecondWriterLeavesTheLogOfTheFirstAlone) {
  const TestFolder folder;
  const std::string path = folder.path("log");
  blackboxlog::BlackboxWriter first, second;
  EXPECT_EQ(first.open(path, {}), 0);
  const std::string begun = readFile(path);
  EXPECT_EQ(second.open(path, {}), -EBUSY);
  EXPECT_EQ(readFile(path), begun);
  first.close();
  EXPECT_EQ(second.open(path, {}), 0);
}

}  // namespace
