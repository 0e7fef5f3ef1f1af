#include "telemetry/blackbox_reader.hpp"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "blackbox_format.hpp"
#include "logservice/log.h"
#include "telemetry/blackbox_position.hpp"

namespace telemetry {
namespace {

constexpr char logTag[] = "telemetry";
constexpr std::size_t bufferBytes = 256UL * 1024;  // about 300 steps of a replay for each call of read()

/// Takes a payload apart. Once something did not fit, nothing more is taken and whole() is false.
class Payload {
 public:
  Payload(const unsigned char* bytes, std::size_t size) : next(bytes), left(size) {}

  template <typename Number>
  Number number() {
    static_assert(std::is_integral_v<Number>);
    Number value = 0;
    if (const unsigned char* bytes = take(sizeof value)) std::memcpy(&value, bytes, sizeof value);
    return value;
  }

  std::string text() {
    const auto length = number<std::uint32_t>();
    const unsigned char* bytes = take(length);
    return bytes == nullptr ? std::string() : std::string(bytes, bytes + length);
  }

  bool fits() const { return next != nullptr; }

  /// Everything fitted, and nothing is left.
  bool whole() const { return fits() && left == 0; }

 private:
  const unsigned char* take(std::size_t size) {
    // The size comes from the file, so it is checked before any pointer is moved by it.
    if (!fits() || size > left) return next = nullptr;
    const unsigned char* taken = next;
    next += size;
    left -= size;
    return taken;
  }

  const unsigned char* next;
  std::size_t left;
};

class BlackboxReader final : public BlackboxReaderItf, public BlackboxPosition {
 public:
  explicit BlackboxReader(BlackboxReaderItfCb* target) : callbacks(target), buffer(bufferBytes) {}
  ~BlackboxReader() override { closeFile(); }

  int open(const std::string& logPath) override;
  int close() override;
  int step() override;
  const std::string& sectionNameOf(unsigned int id, const void* description,
                                   std::size_t size) const override;
  unsigned int varCount(unsigned int id) const override;
  const VarDesc& varDesc(unsigned int id, unsigned int index) const override;
  std::uint64_t position() const override { return offset; }
  bool closed() const override { return endRead; }

 private:
  struct Section {
    std::string name;
    std::vector<VarDesc> variables;
    std::size_t sampleBytes = 0;
  };

  void closeFile();
  int readHead();
  int readHeaderValues(std::map<std::string, std::string>& values);
  int fill(std::size_t bytes);
  int readBlock();
  int deliverBlock();
  int describeSection();
  int deliverSample();
  int endLog();
  void consume(std::size_t bytes);
  int cutShort() const;
  int damaged(const char* what) const;

  const unsigned char* data() const { return buffer.data() + begin; }
  const unsigned char* payload() const { return data() + sizeof block; }

  BlackboxReaderItfCb* callbacks;
  std::string path;
  int file = -1;
  int status = -EBADF;  ///< what step() returns without reading on; 0 while there is more
  std::vector<unsigned char> buffer;
  std::size_t begin = 0;  ///< the bytes read and not yet consumed, in `buffer`
  std::size_t end = 0;
  std::uint64_t offset = 0;     ///< of the byte at `begin` in the file
  bool endRead = false;         ///< the END block was the last
  format::BlockHeader block{};  ///< the block at `begin`, once readBlock() has checked it
  std::map<unsigned int, Section> sections;
};

int BlackboxReader::open(const std::string& logPath) {
  close();
  path = logPath;
  file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return -errno;

  callbacks->reset();
  status = readHead();
  std::map<std::string, std::string> values;
  if (status == 0) status = readHeaderValues(values);
  // A log that is cut in its header is opened all the same; step() then reports its end.
  if (status < 0 && status != -ENOENT) {
    const int result = status;
    close();
    return result;
  }
  callbacks->fileHeader(values);
  return 0;
}

int BlackboxReader::close() {
  closeFile();
  status = -EBADF;
  begin = end = 0;
  offset = 0;
  endRead = false;
  sections.clear();
  return 0;
}

void BlackboxReader::closeFile() {
  if (file >= 0) ::close(file);
  file = -1;
}

int BlackboxReader::step() {
  if (status == 0) status = readBlock();
  // A result other than 0 stays in `status`, so that every later step gives it again.
  if (status == 0) status = deliverBlock();
  if (status == 0) consume(sizeof block + block.payloadBytes);
  return status;
}

const std::string& BlackboxReader::sectionNameOf(unsigned int id, const void* /*description*/,
                                                 std::size_t /*size*/) const {
  static const std::string none;
  const auto found = sections.find(id);
  return found == sections.end() ? none : found->second.name;
}

unsigned int BlackboxReader::varCount(unsigned int id) const {
  const auto found = sections.find(id);
  return found == sections.end() ? 0 : static_cast<unsigned int>(found->second.variables.size());
}

const VarDesc& BlackboxReader::varDesc(unsigned int id, unsigned int index) const {
  static const VarDesc none{};
  return index < varCount(id) ? sections.at(id).variables[index] : none;
}

/// Reads on until `bytes` bytes are there in one piece, or the file ends. 0 in both cases, or -errno.
int BlackboxReader::fill(std::size_t bytes) {
  if (end - begin >= bytes) return 0;
  // What is left of the last read moves to the front, so that the block lies in one piece.
  std::memmove(buffer.data(), data(), end - begin);
  end -= begin;
  begin = 0;
  // Bounded: readBlock() refuses a length above the limit before it asks for the bytes.
  if (buffer.size() < bytes) buffer.resize(bytes);
  while (end < bytes) {
    const ssize_t got = read(file, buffer.data() + end, buffer.size() - end);
    if (got == 0) break;
    if (got > 0) {
      end += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      const int error = errno;
      log_print(logTag, LOG_ERR, "%s: read failed after byte %" PRIu64 ": %s", path.c_str(), offset + end,
                std::strerror(error));
      return -error;
    }
  }
  return 0;
}

void BlackboxReader::consume(std::size_t bytes) {
  begin += bytes;
  offset += bytes;
}

/// Reports a log that ends inside a block. The result is that of an ordinary end.
int BlackboxReader::cutShort() const {
  log_print(logTag, LOG_WARNING, "%s: cut short after byte %" PRIu64 ", the end of its last whole block",
            path.c_str(), offset);
  return -ENOENT;
}

int BlackboxReader::damaged(const char* what) const {
  log_print(logTag, LOG_ERR, "%s: damaged in the block at byte %" PRIu64 ": %s", path.c_str(), offset,
            what);
  return -EBADMSG;
}

/// Reads what stands before the blocks.
int BlackboxReader::readHead() {
  format::Preamble preamble{};
  const int result = fill(sizeof preamble);
  if (result < 0) return result;
  // A file too short for the magic word is no blackbox log; one that ends behind it was cut.
  if (end < sizeof format::magic || std::memcmp(data(), format::magic, sizeof format::magic) != 0) {
    log_print(logTag, LOG_ERR, "%s: no blackbox log: byte 0 does not begin the magic word", path.c_str());
    return -EINVAL;
  }
  if (end < sizeof preamble) return cutShort();
  std::memcpy(&preamble, data(), sizeof preamble);
  if (preamble.version != format::version) {
    log_print(logTag, LOG_ERR, "%s: byte %zu: a blackbox log of version %" PRIu32 ", not %" PRIu32,
              path.c_str(), offsetof(format::Preamble, version), preamble.version, format::version);
    return -ENOTSUP;
  }
  consume(sizeof preamble);
  return 0;
}

/// Reads the first block, which must be the one of the header values.
int BlackboxReader::readHeaderValues(std::map<std::string, std::string>& values) {
  const int result = readBlock();
  if (result < 0) return result;
  if (block.kind != format::HEADER) return damaged("not the header values that come first");
  Payload content(payload(), block.payloadBytes);
  for (auto left = content.number<std::uint32_t>(); left > 0 && content.fits(); --left) {
    std::string key = content.text();
    // The first value of a key counts.
    values.emplace(std::move(key), content.text());
  }
  if (!content.whole()) return damaged("header values that do not fit");
  consume(sizeof block + block.payloadBytes);
  return 0;
}

/// Brings the next block to `begin`, whole and with the right checksums.
int BlackboxReader::readBlock() {
  int result = fill(sizeof block);
  if (result < 0) return result;
  if (end - begin < sizeof block) return cutShort();
  std::memcpy(&block, data(), sizeof block);
  // Before the length is used: a damaged length would look like a log that was cut.
  if (block.headerChecksum != format::headerChecksum(block))
    return damaged("checksum of the block's header");
  if (block.payloadBytes > format::maxPayloadBytes) return damaged("larger than any block");

  result = fill(sizeof block + block.payloadBytes);
  if (result < 0) return result;
  if (end - begin < sizeof block + block.payloadBytes) return cutShort();
  if (block.payloadChecksum != format::checksum(payload(), block.payloadBytes))
    return damaged("checksum of the block's payload");
  return 0;
}

/// Hands the block at `begin` to the callbacks, or says why it can't be what a log has there.
int BlackboxReader::deliverBlock() {
  switch (block.kind) {
    case format::SECTION_ADDED:
    case format::SECTION_CHANGED: return describeSection();
    case format::SECTION_REMOVED:
      if (sections.count(block.section) == 0) return damaged("removes a section that does not exist");
      callbacks->sectionRemoved(block.section);  // while it can still be asked about
      sections.erase(block.section);
      return 0;
    case format::SAMPLE: return deliverSample();
    case format::END: return endLog();
    default: return damaged("of an unexpected kind");
  }
}

/// Takes over the description of a section, new or changed, and tells the callbacks of it.
int BlackboxReader::describeSection() {
  const bool added = block.kind == format::SECTION_ADDED;
  if (added == (sections.count(block.section) != 0))
    return damaged(added ? "adds a section that exists" : "changes a section that does not exist");
  if (added && sections.size() == format::maxSections) return damaged("one section too many");

  Payload content(payload(), block.payloadBytes);
  Section section;
  section.name = content.text();
  for (auto left = content.number<std::uint32_t>(); left > 0; --left) {
    VarDesc variable{};
    variable.name = content.text();
    variable.type = static_cast<tlm_var_type>(content.number<std::uint32_t>());
    variable.elementBytes = content.number<std::uint32_t>();
    variable.count = content.number<std::uint64_t>();
    // Also bounds the loop: a count that is too large runs out of payload.
    if (!content.fits()) break;
    if (!format::addVariable(variable, section.sampleBytes))
      return damaged("a variable of impossible size");
    section.variables.push_back(std::move(variable));
  }
  if (!content.whole()) return damaged("a section description that does not fit");

  // Stored first, because the callbacks ask for the new description.
  sections[block.section] = std::move(section);
  if (added) callbacks->sectionAdded(block.section);
  callbacks->sectionChanged(block.section, payload(), block.payloadBytes);
  return 0;
}

int BlackboxReader::deliverSample() {
  const auto found = sections.find(block.section);
  if (found == sections.end()) return damaged("a sample of a section that does not exist");
  const Section& section = found->second;
  if (block.payloadBytes != sizeof(format::SampleTime) + section.sampleBytes)
    return damaged("a sample of another size than its section's");

  format::SampleTime recorded{};
  std::memcpy(&recorded, payload(), sizeof recorded);
  const timespec time{recorded.seconds, recorded.nanoseconds};
  const unsigned char* bytes = payload() + sizeof recorded;
  // Local copies: the compiler must load members again after every callback, and this loop is most of the
  // cost of a sample.
  BlackboxReaderItfCb& target = *callbacks;
  const unsigned int id = block.section;
  target.sampleBegin(id, &time, bytes, section.sampleBytes);
  unsigned int index = 0;
  for (const VarDesc& variable : section.variables) {
    const std::size_t size = variable.elementBytes * variable.count;
    target.sample(id, &time, index++, variable, bytes, size);
    bytes += size;
  }
  target.sampleEnd(id);
  return 0;
}

/// Ends the log at its END block. Bytes behind that block are damage.
int BlackboxReader::endLog() {
  // One byte more than the block, to see whether the file ends with it.
  const int result = fill(sizeof block + block.payloadBytes + 1);
  if (result < 0) return result;
  if (end - begin > sizeof block + block.payloadBytes)
    return damaged("followed by more, though it is the last");
  consume(sizeof block + block.payloadBytes);
  endRead = true;
  return -ENOENT;
}

}  // namespace

BlackboxReaderItf* BlackboxReaderItf::create(BlackboxReaderItfCb* callbacks) {
  return new BlackboxReader(callbacks);
}

}  // namespace telemetry
