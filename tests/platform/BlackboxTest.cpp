#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>

#include "support/BlackboxBuilder.hpp"
#include "support/LogProbe.hpp"
#include "support/Row.hpp"
#include "support/TestFolder.hpp"
#include "telemetry/blackbox_position.hpp"
#include "telemetry/blackbox_reader.hpp"
#include "telemetry/blackbox_writer.hpp"

using telemetry::BlackboxWriter;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

namespace {

/// Reads one log to its end: what it delivered, as text, and how it ended.
struct Reading : telemetry::BlackboxReaderItfCb {
  explicit Reading(const std::string& path) {
    takeLogLines();
    opened = reader->open(path);
    while ((result = reader->step()) == 0) continue;
    EXPECT_EQ(reader->step(), result) << "the end is final";
    lines = takeLogLines();
    const auto* progress = dynamic_cast<const telemetry::BlackboxPosition*>(reader.get());
    position = progress->position();
    closed = progress->closed();
  }
  void sectionAdded(unsigned int id) override { out << "added " << id << "\n"; }
  void sectionRemoved(unsigned int id) override {
    out << "removed " << reader->sectionNameOf(id, nullptr, 0) << "\n";
  }
  void sectionChanged(unsigned int id, const void* description, std::size_t size) override {
    out << "changed " << reader->sectionNameOf(id, description, size);
    for (unsigned int i = 0; i < reader->varCount(id); ++i) {
      const telemetry::VarDesc& variable = reader->varDesc(id, i);
      out << " " << variable.name << " of " << variable.count << " type " << variable.type;
    }
    out << "\n";
  }
  void sampleBegin(unsigned int id, const timespec* at, const void*, std::size_t size) override {
    out << "sample of " << id << " at " << at->tv_sec << " " << at->tv_nsec << ", " << size << " bytes:";
  }
  void sample(unsigned int, const timespec*, unsigned int index, const telemetry::VarDesc& variable,
              const void* bytes, std::size_t size) override {
    out << " " << index << variable.name << "=" << std::string(static_cast<const char*>(bytes), size);
  }
  void sampleEnd(unsigned int) override { out << "\n"; }
  void fileHeader(const std::map<std::string, std::string>& values) override {
    for (const auto& [key, value] : values) out << key << "=" << value << "\n";
  }

  std::unique_ptr<telemetry::BlackboxReaderItf> reader{telemetry::BlackboxReaderItf::create(this)};
  int opened, result;
  std::uint64_t position;
  bool closed;
  std::ostringstream out;
  std::vector<std::string> lines;
};

/// The log of one block of each kind, as it grows block by block.
struct LogOfAllKinds {
  LogOfAllKinds() {
    BlackboxBuilder log({{"ro.hardware", "BOARD"}, {"note", ""}});
    ends.push_back(8);  // of the magic and the version
    const auto add = [&](const BlackboxBuilder& grown) { ends.push_back(grown.bytes.size()); };
    add(log);
    add(log.addSection(7, "two", {{"a", TLM_VAR_UINT16, 1, 2}, {"b", TLM_VAR_DOUBLE, 2, 8}}));
    add(log.sample(7, 5, 9, "ABabcdefghABCDEFGH"));
    add(log.changeSection(7, "one", {{"c", TLM_VAR_INT8, 1, 1}}));
    add(log.sample(7, -6, 2'000'000'000, "C"));
    add(log.removeSection(7));
    add(log.addSection(7, "", {}));
    add(log.end());
    bytes = log.bytes;
  }
  std::string bytes;
  std::vector<std::size_t> ends;
  const std::string delivered =
      "note=\nro.hardware=BOARD\nadded 7\nchanged two a of 1 type 3 b of 2 type 10\n"
      "sample of 7 at 5 9, 18 bytes: 0a=AB 1b=abcdefghABCDEFGH\nchanged one c of 1 type 2\n"
      "sample of 7 at -6 2000000000, 1 bytes: 0c=C\nremoved one\nadded 7\nchanged \n";
};

class Blackbox : public testing::Test {
 protected:
  const TestFolder folder;
  const std::string path = folder.path("flight.tlmb");
  const LogOfAllKinds log;
};

TEST_F(Blackbox, WholeLogIsDeliveredBlockByBlock) {
  const Reading reading(folder.write("whole", log.bytes));
  EXPECT_EQ(reading.out.str(), log.delivered);
  EXPECT_EQ(reading.result, -ENOENT);
  EXPECT_TRUE(reading.closed);
  EXPECT_EQ(reading.position, log.bytes.size());
  EXPECT_THAT(reading.lines, ElementsAre());
}

TEST_F(Blackbox, ReaderBeginsAnewWithTheNextLog) {
  const Reading reading(folder.write("whole", log.bytes));
  EXPECT_EQ(reading.reader->open(folder.path("whole")), 0);
  EXPECT_EQ(dynamic_cast<const telemetry::BlackboxPosition&>(*reading.reader).position(), log.ends[1]);
  EXPECT_EQ(reading.reader->varCount(7), 0U);
}

TEST_F(Blackbox, LogCutAtAnyByteEndsAfterItsLastWholeBlock) {
  const std::string cutPath = folder.path("cut");
  std::size_t lastEnd = 0;
  for (std::size_t size = 4; size < log.bytes.size(); ++size) {
    if (std::count(log.ends.begin(), log.ends.end(), size) != 0) lastEnd = size;
    const Reading reading(folder.write("cut", log.bytes.substr(0, size)));
    EXPECT_THAT(log.delivered, StartsWith(reading.out.str())) << size;
    EXPECT_EQ(reading.result, -ENOENT) << size;
    EXPECT_FALSE(reading.closed) << size;
    EXPECT_EQ(reading.position, lastEnd) << size;
    EXPECT_THAT(reading.lines, ElementsAre("<4>" + cutPath + ": cut short after byte " +
                                           std::to_string(lastEnd) + ", the end of its last whole block"));
  }
}

TEST_F(Blackbox, FlippedBitAnywhereDeliversNoWrongValue) {
  for (std::size_t i = 0; i < log.bytes.size(); ++i) {
    std::string flipped = log.bytes;
    flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
    const Reading reading(folder.write("flipped", flipped));
    EXPECT_EQ(reading.opened < 0 ? reading.opened : reading.result, i < 4   ? -EINVAL
                                                                    : i < 8 ? -ENOTSUP
                                                                            : -EBADMSG);
    EXPECT_THAT(log.delivered, StartsWith(reading.out.str())) << i;
    EXPECT_THAT(reading.lines, ElementsAre(StartsWith("<3>" + folder.path("flipped") + ": "))) << i;
  }
}

const std::vector<telemetry::VarDesc> BYTE = {{"v", TLM_VAR_UINT8, 1, 1}};
std::string numbers(std::initializer_list<std::uint64_t> values) {
  std::string bytes;
  for (const std::uint64_t value : values) bytes += BlackboxBuilder::number32(value);
  return bytes;
}
struct Damage : Row {
  std::string bytes, complaint;
};
class DamagedBlock : public Blackbox, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedBlock, EndsTheReadWithoutASample) {
  const Reading reading(folder.write("bad", GetParam().bytes));
  EXPECT_EQ(reading.opened < 0 ? reading.opened : reading.result, -EBADMSG);
  EXPECT_EQ(reading.out.str().find("sample"), std::string::npos);
  EXPECT_THAT(reading.lines,
              ElementsAre(AllOf(StartsWith("<3>" + folder.path("bad") + ": damaged in the block at byte "),
                                EndsWith(": " + GetParam().complaint))));
}

using Log = BlackboxBuilder;
std::string sections(unsigned int count) {
  Log log;
  for (unsigned int id = 0; id < count; ++id) log.addSection(id, "", BYTE);
  return log.bytes;
}
std::string variable(std::uint64_t count, std::size_t elementBytes) {
  return Log().addSection(0, "", {{"v", TLM_VAR_INT8, count, elementBytes}}).bytes;
}
const std::string NO_SECTION = "a sample of a section that does not exist";
const std::string WRONG_SIZE = "a sample of another size than its section's";
const std::string IMPOSSIBLE = "a variable of impossible size";
const std::string NO_FIT = "a section description that does not fit";
const Damage DAMAGES[] = {
    {"HugeBlock", Log().block(5, 0, "", 1048577).bytes, "larger than any block"},
    {"SampleBeforeItsSection", Log().sample(0, 0, 0, "v").bytes, NO_SECTION},
    {"SampleOfRemovedSection", Log().addSection(0, "", BYTE).removeSection(0).sample(0, 0, 0, "v").bytes,
     NO_SECTION},
    {"SampleTooLarge", Log().addSection(0, "", BYTE).sample(0, 0, 0, "vv").bytes, WRONG_SIZE},
    {"SampleTooSmall", Log().addSection(0, "", BYTE).sample(0, 0, 0, "").bytes, WRONG_SIZE},
    {"AddedTwice", Log().addSection(3, "", BYTE).addSection(3, "", BYTE).bytes,
     "adds a section that exists"},
    {"ChangedBeforeAdded", Log().changeSection(0, "", BYTE).bytes, "changes a section that does not exist"},
    {"RemovedBeforeAdded", Log().removeSection(0).bytes, "removes a section that does not exist"},
    {"Section257", sections(257), "one section too many"},
    {"SizeOverflows", variable(1ULL << 62, 4), IMPOSSIBLE},
    {"NoElements", variable(0, 1), IMPOSSIBLE},
    {"NoBytes", variable(1, 0), IMPOSSIBLE},
    {"LargerThanABlock", variable(1048561, 1), IMPOSSIBLE},
    {"NameBeyondTheBlock", Log().block(2, 0, numbers({5, 0})).bytes, NO_FIT},
    {"FewerVariablesThanClaimed", Log().block(2, 0, numbers({0, 1})).bytes, NO_FIT},
    {"MoreThanTheDescription", Log().block(2, 0, numbers({0, 0, 0})).bytes, NO_FIT},
    {"BytesAfterTheEnd", Log().end().bytes + "?", "followed by more, though it is the last"},
    {"SecondHeader", Log().block(1, 0, numbers({0})).bytes, "of an unexpected kind"},
    {"NoHeader", "TLMB" + numbers({1}) + Log().end().bytes.substr(32),
     "not the header values that come first"},
};
INSTANTIATE_ROWS(DamagedBlock, DAMAGES);

TEST_F(Blackbox, WriterReplacesALongerOlderLogByTheDocumentedBytes) {
  folder.write("flight.tlmb", std::string(100'000, 'x'));
  const std::vector<telemetry::VarDesc> two = {{"a", TLM_VAR_UINT16, 1, 2}, {"b", TLM_VAR_DOUBLE, 2, 8}};
  BlackboxWriter writer;
  ASSERT_EQ(writer.open(path, {{"ro.hardware", "BOARD"}, {"note", ""}}), 0);
  EXPECT_EQ(writer.addSection("first", BYTE), 0);
  EXPECT_EQ(writer.addSection("second", two), 1);
  EXPECT_EQ(writer.sample(1, {5, 9}, "ABabcdefghABCDEFGH", 18), 0);
  EXPECT_EQ(writer.sample(0, {-6, 7}, "C", 1), 0);
  EXPECT_EQ(writer.close(), 0);
  Log expected({{"ro.hardware", "BOARD"}, {"note", ""}});
  expected.addSection(0, "first", BYTE).addSection(1, "second", two);
  expected.sample(1, 5, 9, "ABabcdefghABCDEFGH").sample(0, -6, 7, "C").end();
  EXPECT_EQ(readFile(path), expected.bytes);
}

TEST_F(Blackbox, BlocksLargerThanTheBuffersArrive) {
  BlackboxWriter writer;
  ASSERT_EQ(writer.open(path, {}), 0);
  Log expected;
  for (unsigned int id = 0; id < 100; ++id) {
    const std::string value(id == 40 ? (1 << 20) - 16 : 9001, static_cast<char>('!' + id));
    const std::vector<telemetry::VarDesc> variables = {{"i", TLM_VAR_UINT8, value.size(), 1}};
    ASSERT_EQ(writer.addSection("", variables), static_cast<int>(id));
    ASSERT_EQ(writer.sample(id, {}, value.data(), value.size()), 0);
    expected.addSection(id, "", variables).sample(id, 0, 0, value);
  }
  ASSERT_EQ(writer.close(), 0);
  EXPECT_TRUE(readFile(path) == expected.end().bytes);
  EXPECT_EQ(Reading(path).position, expected.bytes.size());
}

TEST_F(Blackbox, SamplesReachTheFileWhen64KiBHaveComeTogether) {
  BlackboxWriter writer;
  ASSERT_EQ(writer.open(path, {}), 0);
  ASSERT_EQ(writer.addSection("", {{"v", TLM_VAR_UINT8, 10'000, 1}}), 0);
  const std::string values(10'000, 'v');
  for (int i = 0; i < 6; ++i) ASSERT_EQ(writer.sample(0, {}, values.data(), values.size()), 0);
  EXPECT_EQ(readFile(path), Log().bytes);
  ASSERT_EQ(writer.sample(0, {}, values.data(), values.size()), 0);
  EXPECT_GT(readFile(path).size(), 65536U);
}

TEST_F(Blackbox, WriterRefusesMisuse) {
  BlackboxWriter writer;
  EXPECT_EQ(writer.addSection("s", BYTE), -EBADF);
  EXPECT_EQ(writer.open(path, {{"k", std::string(1 << 20, 'v')}}), -EMSGSIZE);
  ASSERT_EQ(writer.open(path, {}), 0);
  EXPECT_EQ(writer.open(path, {}), -EBUSY);
  EXPECT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT64, 1ULL << 61, 8}}), -EMSGSIZE);
  EXPECT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT64, 0, 8}}), -EINVAL);
  for (int id = 0; id < 256; ++id) EXPECT_EQ(writer.addSection("s", BYTE), id);
  EXPECT_EQ(writer.addSection("s", BYTE), -ENOBUFS);
  EXPECT_EQ(writer.sample(0, {}, "vv", 2), -EINVAL);
  EXPECT_EQ(writer.sample(256, {}, "v", 1), -EINVAL);
  EXPECT_EQ(writer.close(), 0);
  EXPECT_EQ(Reading(path).result, -ENOENT);
}

TEST_F(Blackbox, WriterReportsAFullDiskFromThenOn) {
  BlackboxWriter writer;
  ASSERT_EQ(writer.open(path, {}), 0);
  const std::string values(9999, 'v');
  EXPECT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT8, 9999, 1}}), 0);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(writer.sample(0, {}, values.data(), 9999), 0);
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit tight{15'000, RLIM_INFINITY}, none{RLIM_INFINITY, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &tight);  // ends within the second sample
  EXPECT_EQ(writer.flush(), -EFBIG);
  setrlimit(RLIMIT_FSIZE, &none);
  EXPECT_EQ(writer.sample(0, {}, values.data(), 9999), -EFBIG);
  EXPECT_EQ(writer.close(), -EFBIG);
  EXPECT_EQ(readFile(path).size(), 15'000U);
}

}  // namespace
