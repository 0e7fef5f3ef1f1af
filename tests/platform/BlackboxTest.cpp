#include <gmock/gmock.h>
#include <sys/resource.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "support/LogProbe.hpp"
#include "support/TestFolder.hpp"
#include "telemetry/blackbox_reader.hpp"
#include "telemetry/blackbox_writer.hpp"

using telemetry::BlackboxWriter;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

/// What reading one log came to: everything delivered, as lines of text, and how it ended.
struct Reading : telemetry::BlackboxReaderItfCb {
  explicit Reading(const std::string& path) {
    takeLogLines();
    opened = reader->open(path);
    while ((result = reader->step()) == 0) continue;
    EXPECT_EQ(reader->step(), result) << "the end is final";
    log = takeLogLines();
  }
  void sectionAdded(unsigned int id) override { out << "added " << id << "\n"; }
  void sectionRemoved(unsigned int id) override { out << "removed " << id << "\n"; }
  void sectionChanged(unsigned int id, const void* description, std::size_t size) override {
    out << "changed " << reader->sectionNameOf(id, description, size);
    for (unsigned int i = 0; i < reader->varCount(id); ++i) {
      const telemetry::VarDesc& variable = reader->varDesc(id, i);
      out << " " << variable.name << variable.type << "x" << variable.count;
    }
    out << "\n";
  }
  void sampleBegin(unsigned int id, const timespec* at, const void*, std::size_t) override {
    out << reader->sectionNameOf(id, nullptr, 0) << " " << at->tv_sec << " " << at->tv_nsec << "\n";
    ++samples;
  }
  void sample(unsigned int, const timespec*, unsigned int, const telemetry::VarDesc& variable,
              const void* bytes, std::size_t size) override {
    out << variable.name << " " << std::string(static_cast<const char*>(bytes), size) << "\n";
  }
  void fileHeader(const std::map<std::string, std::string>& values) override {
    for (const auto& [key, value] : values) out << key << "=" << value << "\n";
  }

  std::unique_ptr<telemetry::BlackboxReaderItf> reader{telemetry::BlackboxReaderItf::create(this)};
  int opened, result, samples = 0;
  std::ostringstream out;
  std::vector<std::string> log;
};

class Blackbox : public testing::Test {
 protected:
  TestFolder folder;
  const std::string path = folder.path("flight.tlmb");
};

TEST_F(Blackbox, DamageAtAnyByteGivesNoWrongValue) {
  // A log of every kind of block.
  BlackboxWriter writer;
  EXPECT_EQ(writer.open(path, {{"ro.hardware", "BOARD"}, {"note", ""}}), 0);
  EXPECT_EQ(writer.addSection("other", {{"x", TLM_VAR_UINT8, 1, 1}}), 0);
  EXPECT_EQ(writer.addSection("two", {{"a", TLM_VAR_UINT16, 1, 2}, {"b", TLM_VAR_DOUBLE, 2, 8}}), 1);
  EXPECT_EQ(writer.sample(1, {5, 7}, "ABabcdefghABCDEFGH", 18), 0);
  EXPECT_EQ(writer.sample(0, {-6, 2000000000}, "A", 1), 0);
  EXPECT_EQ(writer.changeSection(0, "new", {{"y", TLM_VAR_UINT16, 1, 2}}), 0);
  EXPECT_EQ(writer.sample(0, {8, 0}, "BC", 2), 0);
  EXPECT_EQ(writer.removeSection(1), 0);
  EXPECT_EQ(writer.close(), 0);
  const std::string bytes = readFile(path);
  const std::string whole =
      "note=\nro.hardware=BOARD\nadded 0\nchanged other x1x1\nadded 1\nchanged two a3x1 b10x2\n"
      "two 5 7\na AB\nb abcdefghABCDEFGH\nother -6 2000000000\nx A\nchanged new y3x1\nnew 8 0\ny BC\n"
      "removed 1\n";
  const Reading intact(path);
  EXPECT_EQ(intact.result, -ENOENT);
  EXPECT_THAT(intact.log, ElementsAre());
  EXPECT_EQ(intact.out.str(), whole);
  std::size_t wholeEnd = 0, nextEnd = 8;  // of the last whole block, and of the one that is cut
  std::array<std::uint32_t, 3> head{};    // of the latter: kind, section, payload bytes
  int samples = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    SCOPED_TRACE(i);
    if (i == nextEnd) {
      samples += head[0] == 5 ? 1 : 0;
      std::memcpy(head.data(), &bytes[i], sizeof head);
      wholeEnd = std::exchange(nextEnd, i + 20 + head[2]);
    }
    const Reading cut(folder.write("cut", bytes.substr(0, i)));
    EXPECT_THAT(whole, StartsWith(cut.out.str()));
    EXPECT_EQ(cut.samples, samples);
    EXPECT_EQ(cut.result, i < 4 ? -EBADF : -ENOENT);
    const std::string after = "<4>" + folder.path("cut") + ": cut short after byte " +
                              std::to_string(wholeEnd) + ", the end of its last whole block";
    const std::string no =
        "<3>" + folder.path("cut") + ": no blackbox log: byte 0 does not begin the magic word";
    EXPECT_THAT(cut.log, ElementsAre(i < 4 ? no : after));

    std::string flipped = bytes;
    flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
    const Reading reading(folder.write("flipped", flipped));
    EXPECT_TRUE(reading.opened < 0 || reading.result == -EBADMSG);
    EXPECT_THAT(whole, StartsWith(reading.out.str()));
    EXPECT_THAT(reading.log, ElementsAre(StartsWith("<3>" + folder.path("flipped") + ": ")));
  }
  EXPECT_EQ(nextEnd, bytes.size());
}

TEST_F(Blackbox, BlocksLargerThanTheBufferAndAcrossItsEndsArrive) {
  BlackboxWriter writer;
  ASSERT_EQ(writer.open(path, {}), 0);
  std::ostringstream expected;
  for (int i = 0; i < 100; ++i) {
    const std::string value(i == 40 ? (1 << 20) - 16 : 9001, static_cast<char>('!' + i));
    ASSERT_EQ(writer.addSection("", {{"i", TLM_VAR_UINT8, value.size(), 1}}), i);
    ASSERT_EQ(writer.sample(static_cast<unsigned int>(i), {}, value.data(), value.size()), 0);
    expected << "added " << i << "\nchanged  i1x" << value.size() << "\n 0 0\ni " << value << "\n";
  }
  ASSERT_EQ(writer.close(), 0);
  EXPECT_TRUE(Reading(path).out.str() == expected.str());
}

std::string numbers(std::initializer_list<std::uint32_t> values) {
  return {reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(std::uint32_t)};
}

std::string block(std::uint32_t kind, std::uint32_t section, const std::string& payload, int excess = 0) {
  const auto checksum = [](const std::string& bytes) {
    return static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
  };
  const auto claimed = static_cast<std::uint32_t>(payload.size()) + static_cast<std::uint32_t>(excess);
  const std::string head = numbers({kind, section, claimed, checksum(payload)});
  return head + numbers({checksum(head)}) + payload;
}

/// Adds the section `id` of one variable.
std::string added(std::uint32_t id, std::uint32_t bytes = 1, std::uint32_t count = 1,
                  std::uint32_t high = 0) {
  return block(2, id, numbers({0, 1, 0, 1, bytes, count, high}));
}

TEST_F(Blackbox, ContentsThatMakeNoSenseEndTheRead) {
  const std::string magic = "TLMB" + numbers({1}), head = magic + block(1, 0, numbers({0})), time(16, 't');
  std::string tooMany;
  for (std::uint32_t id = 0; id <= 256; ++id) tooMany += added(id);
  const std::vector<std::string> damages{
      head + block(5, 0, "", -1),                                   // huge claimed length
      head + block(5, 0, time + "v"),                               // a sample before its section
      head + added(0) + block(4, 0, "") + block(5, 0, time + "v"),  // a sample after its section
      head + added(0) + block(5, 0, time + "vv"),                   // a sample too large
      head + added(3) + added(3),                                   // added twice
      head + block(3, 0, numbers({0, 0})),                          // changed before added
      head + block(4, 0, ""),                                       // removed before added
      head + tooMany,                                               //
      head + added(0, 4, 1, 0x40000000),                            // size overflows
      head + added(0, 1, 0),                                        // no elements
      head + block(2, 0, numbers({0xffffffff, 0})),                 // name beyond the block
      head + block(2, 0, numbers({0, 0xffffffff})),                 // fewer variables than claimed
      head + block(2, 0, numbers({0, 0, 0})),                       // more than the description
      head + block(6, 0, "") + "?",                                 // bytes after the end
      magic + added(0),                                             // no header values
      magic + block(1, 0, numbers({0xffffffff, 0, 0})),             // endless header values
      "TLMB" + numbers({2}),                                        // another version
  };
  for (std::size_t i = 0; i < damages.size(); ++i) {
    const Reading reading(folder.write("bad", damages[i]));
    EXPECT_EQ(reading.opened < 0 ? reading.opened : reading.result, i == 16 ? -ENOTSUP : -EBADMSG) << i;
    EXPECT_EQ(reading.samples, 0) << i;
    EXPECT_THAT(reading.log, ElementsAre(StartsWith("<3>" + folder.path("bad") + ": "))) << i;
  }
}

TEST_F(Blackbox, WriterRefusesMisuseAndReportsAFullDiskFromThenOn) {
  BlackboxWriter writer;
  ASSERT_EQ(writer.open(path, {}), 0);
  EXPECT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT64, 1ULL << 61, 8}}), -EMSGSIZE);
  EXPECT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT8, 9999, 1}}), 0);
  const std::string values(9999, 'v');
  EXPECT_EQ(writer.sample(0, {}, values.data(), 1), -EINVAL);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(writer.sample(0, {}, values.data(), 9999), 0);
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit tight{20'000, RLIM_INFINITY}, none{RLIM_INFINITY, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &tight);  // in the second sample: a part is taken, then no more
  EXPECT_EQ(writer.flush(), -EFBIG);
  setrlimit(RLIMIT_FSIZE, &none);
  EXPECT_EQ(writer.sample(0, {}, values.data(), 9999), -EFBIG);
  EXPECT_EQ(writer.close(), -EFBIG);
  EXPECT_EQ(Reading(path).samples, 1);
}

}  // namespace
