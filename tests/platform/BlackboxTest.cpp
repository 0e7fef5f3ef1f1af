#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/hex.hpp>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "logservice/log.h"
#include "support/TestFolder.hpp"
#include "telemetry/blackbox_reader.hpp"
#include "telemetry/blackbox_writer.hpp"
#include "telemetry/producer.hpp"

using telemetry::BlackboxWriter;
using telemetry::VarDesc;
using testing::ElementsAre;
using testing::StartsWith;

namespace {
std::vector<std::string> logLines;
}

// In place of the log service's, which the telemetry library would call otherwise.
void log_print(const char* tag, int priority, const char* format, ...) {
  std::array<char, 1024> text{};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  logLines.push_back("<" + std::to_string(priority) + ">" + tag + ": " + text.data());
}

namespace {

std::string hex(const void* bytes, std::size_t size) {
  return boost::algorithm::hex_lower(std::string(static_cast<const char*>(bytes), size));
}

/// What reading one log came to: everything delivered as one line of text each, and how it ended.
struct Reading : telemetry::BlackboxReaderItfCb {
  explicit Reading(const std::string& path) {
    logLines.clear();
    opened = reader->open(path);
    do {
      result = reader->step();
    } while (result == 0);
    EXPECT_EQ(reader->step(), result) << "the end is final";
    lines = logLines;
  }

  void sectionAdded(unsigned int id) override { events.push_back("added " + std::to_string(id)); }
  void sectionRemoved(unsigned int id) override { events.push_back("removed " + nameOf(id)); }
  void sectionChanged(unsigned int id, const void* description, std::size_t size) override {
    std::ostringstream event;
    event << "changed " << id << " " << reader->sectionNameOf(id, description, size);
    for (unsigned int i = 0; i < reader->varCount(id); ++i) {
      const VarDesc& variable = reader->varDesc(id, i);
      event << " " << variable.name << ":" << variable.type << "x" << variable.count;
    }
    events.push_back(event.str());
  }
  void sampleBegin(unsigned int id, const timespec* time, const void*, std::size_t) override {
    std::ostringstream event;
    event << "begin " << nameOf(id) << " " << time->tv_sec << " " << time->tv_nsec;
    events.push_back(event.str());
  }
  void sample(unsigned int id, const timespec*, unsigned int index, const VarDesc& variable,
              const void* bytes, std::size_t size) override {
    EXPECT_EQ(&variable, &reader->varDesc(id, index));
    events.push_back(variable.name + " " + hex(bytes, size));
  }
  void sampleEnd(unsigned int) override {
    events.emplace_back("end");
    ++samples;
  }
  void fileHeader(const std::map<std::string, std::string>& values) override {
    for (const auto& [key, value] : values) events.push_back(std::string(key).append("=").append(value));
  }

  std::string nameOf(unsigned int id) const { return reader->sectionNameOf(id, nullptr, 0); }
  bool isPrefixOf(const Reading& other) const {
    return events.size() <= other.events.size() &&
           std::equal(events.begin(), events.end(), other.events.begin());
  }

  std::unique_ptr<telemetry::BlackboxReaderItf> reader{telemetry::BlackboxReaderItf::create(this)};
  int opened, result;
  int samples = 0;
  std::vector<std::string> events, lines;
};

std::string block(std::uint32_t kind, std::uint32_t section, const std::string& payload,
                  std::uint32_t claimedBytes) {
  const auto checksum = [](const std::string& bytes) {
    return static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
  };
  const auto number = [](std::uint32_t value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
  };
  const std::string head =
      number(kind) + number(section) + number(claimedBytes) + number(checksum(payload));
  return head + number(checksum(head)) + payload;
}
std::string block(std::uint32_t kind, std::uint32_t section, const std::string& payload) {
  return block(kind, section, payload, static_cast<std::uint32_t>(payload.size()));
}

class Blackbox : public testing::Test {
 protected:
  /// A log of every kind of block and every type.
  void writeEverything() {
    constexpr std::array<std::size_t, 11> bytesOfType{1, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
    std::array<std::array<unsigned char, 16>, 11> values{};
    telemetry::Producer producer("navdata");
    for (std::uint32_t type = 0; type < values.size(); ++type) {
      values[type].fill(static_cast<unsigned char>(type * 16));
      values[type][0] = 0xff;
      const std::string name(1, static_cast<char>('a' + type));
      ASSERT_EQ(producer.regInternal(values[type].data(), "", name, static_cast<tlm_var_type>(type),
                                     bytesOfType[type], type == 10 ? 2 : 1, 0, nullptr, 1),
                0);
    }
    std::string sample(producer.sampleBytes(), '\0');
    producer.pack(sample.data());

    BlackboxWriter writer;
    ASSERT_EQ(writer.open(path, {{"ro.hardware", "BOARD"}, {"note", ""}}), 0);
    ASSERT_EQ(writer.addSection("other", {{"x", TLM_VAR_UINT8, 1, 1}}), 0);
    ASSERT_EQ(writer.addSection(producer.section, producer.descriptions()), 1);
    ASSERT_EQ(writer.sample(1, {5, 7}, sample.data(), sample.size()), 0);
    ASSERT_EQ(writer.sample(0, {-6, 2000000000}, "A", 1), 0);
    ASSERT_EQ(writer.changeSection(0, "new", {{"y", TLM_VAR_UINT16, 1, 2}}), 0);
    ASSERT_EQ(writer.sample(0, {8, 0}, "BC", 2), 0);
    ASSERT_EQ(writer.removeSection(1), 0);
    ASSERT_EQ(writer.close(), 0);
  }

  TestFolder folder;
  const std::string path = folder.path("flight.tlmb");
};

TEST_F(Blackbox, ReadsBackWhatWasWritten) {
  writeEverything();
  const Reading reading(path);
  EXPECT_EQ(reading.opened, 0);
  EXPECT_EQ(reading.result, -ENOENT);
  EXPECT_THAT(reading.lines, ElementsAre());
  EXPECT_THAT(
      reading.events,
      ElementsAre("note=", "ro.hardware=BOARD", "added 0", "changed 0 other x:1x1", "added 1",
                  "changed 1 navdata a:0x1 b:1x1 c:2x1 d:3x1 e:4x1 f:5x1 g:6x1 h:7x1 i:8x1 j:9x1 k:10x2",
                  "begin navdata 5 7", "a ff", "b ff", "c ff", "d ff30", "e ff40", "f ff505050",
                  "g ff606060", "h ff70707070707070", "i ff80808080808080", "j ff909090",
                  "k ffa0a0a0a0a0a0a0a0a0a0a0a0a0a0a0", "end", "begin other -6 2000000000", "x 41", "end",
                  "changed 0 new y:3x1", "begin new 8 0", "y 4243", "end", "removed navdata"));
}

TEST_F(Blackbox, ACutAtAnyByteKeepsWhatIsWhole) {
  writeEverything();
  const std::string bytes = readFile(path);
  const Reading uncut(path);
  std::size_t wholeEnd = 0, nextEnd = 8;  // of the last whole block, and of the one that is cut
  int samples = 0;
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    SCOPED_TRACE(cut);
    if (cut == nextEnd) {
      std::uint32_t kind = 0, payloadBytes = 0;
      if (wholeEnd > 0) std::memcpy(&kind, &bytes[wholeEnd], sizeof kind);
      samples += kind == 5 ? 1 : 0;
      std::memcpy(&payloadBytes, &bytes[cut + 8], sizeof payloadBytes);
      wholeEnd = cut;
      nextEnd += 20 + payloadBytes;
    }
    const Reading reading(folder.write("cut.tlmb", bytes.substr(0, cut)));
    EXPECT_TRUE(reading.isPrefixOf(uncut));
    EXPECT_EQ(reading.samples, samples);
    EXPECT_EQ(reading.opened, cut < 4 ? -EINVAL : 0);
    EXPECT_EQ(reading.result, cut < 4 ? -EBADF : -ENOENT);
    const std::string line = cut < 4 ? ": no blackbox log: byte 0 does not begin the magic word"
                                     : ": cut short after byte " + std::to_string(wholeEnd) +
                                           ", the end of its last whole block";
    EXPECT_THAT(reading.lines, ElementsAre((cut < 4 ? "<3>telemetry: " : "<4>telemetry: ") +
                                           folder.path("cut.tlmb") + line));
  }
  EXPECT_EQ(nextEnd, bytes.size());
}

TEST_F(Blackbox, AFlippedBitNeverGivesAWrongValue) {
  writeEverything();
  const std::string bytes = readFile(path);
  const Reading intact(path);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    SCOPED_TRACE(i);
    std::string flipped = bytes;
    flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
    const Reading reading(folder.write("flipped.tlmb", flipped));
    EXPECT_TRUE(reading.opened < 0 || reading.result == -EBADMSG);
    EXPECT_TRUE(reading.isPrefixOf(intact));
    EXPECT_THAT(reading.lines,
                ElementsAre(StartsWith("<3>telemetry: " + folder.path("flipped.tlmb") + ": ")));
  }
}

TEST_F(Blackbox, BlocksLargerThanTheBufferAndAcrossItsEndsArrive) {
  constexpr std::size_t large = (1 << 20) - 16;
  BlackboxWriter writer;
  ASSERT_EQ(writer.open(path, {}), 0);
  ASSERT_EQ(writer.addSection("large", {{"x", TLM_VAR_UINT8, large, 1}}), 0);
  ASSERT_EQ(writer.addSection("small", {{"i", TLM_VAR_UINT64, 1, 8}, {"pad", TLM_VAR_UINT8, 993, 1}}), 1);
  std::string values(large, 'x');
  for (std::uint64_t i = 0; i < 2000; ++i) {
    std::memcpy(values.data(), &i, sizeof i);
    ASSERT_EQ(i == 700 ? writer.sample(0, {}, values.data(), large) : 0, 0);
    ASSERT_EQ(writer.sample(1, {}, values.data(), 1001), 0);
  }
  ASSERT_EQ(writer.close(), 0);

  const Reading reading(path);
  EXPECT_EQ(reading.result, -ENOENT);
  EXPECT_EQ(reading.samples, 2001);
  for (std::uint64_t i = 0; i < 2000; ++i) {
    const std::size_t sampleStart = 4 + i * 4 + (i >= 700 ? 3 : 0);
    ASSERT_EQ(reading.events.at(sampleStart + 1), "i " + hex(&i, sizeof i));
  }
  EXPECT_EQ(reading.nameOf(7), "");
  EXPECT_EQ(reading.reader->varCount(7), 0);
  EXPECT_EQ(reading.reader->varDesc(1, 2).count, 0);
}

using namespace std::string_literals;
/// Section "n" of one variable "x"; `size` is its bytes per element (u32) and count (u64).
std::string section(const std::string& size) {
  return "\1\0\0\0n\1\0\0\0\1\0\0\0x\1\0\0\0"s + size;
}
const std::string oneByte = section("\1\0\0\0\1\0\0\0\0\0\0\0"s);
const std::string time16(16, 't');
const std::string magic = "TLMB\1\0\0\0"s;

std::string tooManySections() {
  std::string blocks;
  for (std::uint32_t id = 0; id <= 256; ++id) blocks += block(2, id, oneByte);
  return blocks;
}

TEST_F(Blackbox, ContentsThatMakeNoSenseEndTheRead) {
  const std::map<std::string, std::string> rows{
      {"huge claimed length", block(5, 0, "", 0xFFFFFFFF)},
      {"sample before its section", block(5, 0, time16 + "v")},
      {"sample after its section", block(2, 0, oneByte) + block(4, 0, "") + block(5, 0, time16 + "v")},
      {"sample too large", block(2, 0, oneByte) + block(5, 0, time16 + "vv")},
      {"sample without time", block(2, 0, oneByte) + block(5, 0, "v")},
      {"added twice", block(2, 3, oneByte) + block(2, 3, oneByte)},
      {"changed before added", block(3, 0, oneByte)},
      {"removed before added", block(4, 0, "")},
      {"too many sections", tooManySections()},
      {"size overflows", block(2, 0, section("\4\0\0\0\1\0\0\0\0\0\0\x40"s))},
      {"no elements", block(2, 0, section("\1\0\0\0\0\0\0\0\0\0\0\0"s))},
      {"no bytes", block(2, 0, section("\0\0\0\0\1\0\0\0\0\0\0\0"s))},
      {"name beyond the block", block(2, 0, "\xff\xff\xff\xffn"s)},
      {"fewer variables than claimed", block(2, 0, "\1\0\0\0n\xff\xff\xff\xff"s)},
      {"more than the description", block(2, 0, oneByte + "?")},
      {"header again", block(1, 0, std::string(4, '\0'))},
      {"unknown kind", block(7, 0, "")},
      {"bytes after the end", block(6, 0, "") + "?"},
  };
  const std::string head = magic + block(1, 0, std::string(4, '\0'));
  const std::string line = "<3>telemetry: " + folder.path("bad.tlmb") + ": damaged in the block at byte ";
  for (const auto& [label, blocks] : rows) {
    SCOPED_TRACE(label);
    const Reading reading(folder.write("bad.tlmb", head + blocks));
    EXPECT_EQ(reading.result, -EBADMSG);
    EXPECT_EQ(reading.samples, 0);
    EXPECT_THAT(reading.lines, ElementsAre(StartsWith(line)));
  }
}

TEST_F(Blackbox, OpenTellsWhatIsNoLog) {
  const std::vector<std::tuple<std::string, int, std::size_t>> rows{
      {folder.path("missing"), -ENOENT, 0},
      {folder.makeDirectory("directory"), -EISDIR, 1},
      {folder.write("text", " " + magic), -EINVAL, 1},
      {folder.write("later", "TLMB\2\0\0\0"s), -ENOTSUP, 1},
      {folder.write("headless", magic + block(2, 0, oneByte)), -EBADMSG, 1},
      {folder.write("values", magic + block(1, 0, "\xff\xff\xff\xff\1\0\0\0k\0\0\0\0"s)), -EBADMSG, 1},
  };
  for (const auto& [file, result, lines] : rows) {
    const Reading reading(file);
    EXPECT_EQ(reading.opened, result) << file;
    EXPECT_EQ(reading.lines.size(), lines) << file;
    EXPECT_THAT(reading.events, ElementsAre());
  }
}

TEST_F(Blackbox, AReaderForgetsOneLogWhenItOpensAnother) {
  const std::string other = folder.write("other.tlmb", magic + block(1, 0, std::string(4, '\0')) + "?");
  writeEverything();
  const Reading first(path);
  EXPECT_EQ(first.reader->varCount(0), 1);
  EXPECT_EQ(first.reader->open(other), 0);
  EXPECT_EQ(first.reader->varCount(0), 0);
  EXPECT_EQ(first.reader->step(), -ENOENT);
  EXPECT_THAT(logLines, ElementsAre(testing::HasSubstr(" after byte 32,")));
}

TEST_F(Blackbox, WriterRefusesMisuseAndGoesOn) {
  BlackboxWriter writer;
  EXPECT_EQ(writer.flush(), -EBADF);
  EXPECT_EQ(writer.open(folder.path("no/such"), {}), -ENOENT);
  EXPECT_EQ(writer.open(path, {{"key", std::string(1 << 20, 'v')}}), -EMSGSIZE);
  ASSERT_EQ(writer.open(path, {}), 0);
  EXPECT_EQ(writer.open(path, {}), -EBUSY);
  EXPECT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT8, 0, 1}}), -EINVAL);
  EXPECT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT64, 1ULL << 61, 8}}), -EMSGSIZE);
  EXPECT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT8, 1, 1}}), 0);
  EXPECT_EQ(writer.sample(0, {}, "vv", 2), -EINVAL);
  EXPECT_EQ(writer.sample(1, {}, "v", 1), -EINVAL);
  EXPECT_EQ(writer.removeSection(1), -EINVAL);
  for (int id = 1; id < 256; ++id) EXPECT_EQ(writer.addSection("", {}), id);
  EXPECT_EQ(writer.addSection("", {}), -ENOBUFS);
  EXPECT_EQ(writer.sample(0, {}, "v", 1), 0);
  EXPECT_EQ(writer.close(), 0);
  EXPECT_EQ(writer.close(), -EBADF);
  const Reading reading(path);
  EXPECT_EQ(reading.result, -ENOENT);
  EXPECT_EQ(reading.samples, 1);
}

TEST_F(Blackbox, AFullDiskIsReportedFromThenOn) {
  BlackboxWriter writer;
  EXPECT_EQ(writer.open("/dev/full", {}), -ENOSPC);

  ASSERT_EQ(writer.open(path, {}), 0);
  ASSERT_EQ(writer.addSection("s", {{"x", TLM_VAR_UINT8, 100, 1}}), 0);
  const std::string values(100, 'v');
  ASSERT_EQ(writer.sample(0, {}, values.data(), 100), 0);
  ASSERT_EQ(writer.sample(0, {}, values.data(), 100), 0);
  // In the middle of the second sample: the kernel takes a part, then refuses.
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit tight{300, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &tight);
  const int flushed = writer.flush();
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);

  EXPECT_EQ(flushed, -EFBIG);
  EXPECT_EQ(writer.sample(0, {}, values.data(), 100), -EFBIG);
  EXPECT_EQ(writer.removeSection(0), -EFBIG);
  EXPECT_EQ(writer.close(), -EFBIG);
  const Reading reading(path);
  EXPECT_EQ(reading.result, -ENOENT);
  EXPECT_EQ(reading.samples, 1);
  EXPECT_EQ(reading.lines.size(), 1);
}

}  // namespace
