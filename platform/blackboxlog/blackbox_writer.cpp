#include "blackboxlog/blackbox_writer.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "blackbox_format.hpp"

namespace blackboxlog {

namespace format = telemetry::format;
using telemetry::VarDesc;

namespace {

// About ninety steps of a replay: few calls of the kernel, and little is lost with a killed process.
constexpr std::size_t gatheredBytes = 64UL * 1024;

}  // namespace

BlackboxWriter::~BlackboxWriter() {
  close();
}

int BlackboxWriter::open(const std::string& path, const std::map<std::string, std::string>& header) {
  if (file >= 0) return -EBUSY;
  // Non-blocking, so that opening a pipe without a reader fails instead of waiting for one.
  file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666);
  if (file < 0) return -errno;
  if (const int result = takeFile(); result < 0) {
    ::close(std::exchange(file, -1));
    return result;
  }
  status = 0;
  // Counted from the beginning of the log, as blockEnd is.
  handedOver = 0;

  // Room for the largest sample on top of what is gathered, so that none allocates.
  pending.reserve(gatheredBytes + sizeof(format::BlockHeader) + format::maxPayloadBytes);
  put(format::magic, sizeof format::magic);
  putNumber(format::version);
  beginBlock();
  putNumber(static_cast<std::uint32_t>(header.size()));
  for (const auto& [key, value] : header) {
    putText(key);
    putText(value);
  }
  int result = endBlock(format::HEADER, 0);
  // Written at once, so that a file that can't be written fails here and not at a later step.
  if (result == 0) result = flush();
  if (result == 0) return 0;
  status = result;
  return close();
}

/// Makes the opened file this log's own, and empties it: 0 or a negated errno.
int BlackboxWriter::takeFile() {
  struct stat opened {};
  // Writes to a pipe with a reader could block a replay at any step.
  if (fstat(file, &opened) != 0 || S_ISFIFO(opened.st_mode)) return -ESPIPE;
  if (!S_ISREG(opened.st_mode)) return 0;  // a device keeps nothing that two logs could mix
  // Locked before it is emptied: another log that is being written there must not lose its beginning. A
  // file system without locks is no reason to write no log.
  if (flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return -EBUSY;
  return ftruncate(file, 0) == 0 ? 0 : -errno;
}

int BlackboxWriter::addSection(const std::string& name, const std::vector<VarDesc>& variables) {
  if (status < 0) return status;
  // A reader refuses a log of more sections.
  if (sampleBytes.size() == format::maxSections) return -ENOBUFS;
  std::size_t bytes = 0;
  for (const VarDesc& variable : variables) {
    // Checked before anything is gathered, so that a refused section leaves no trace in the log.
    if (variable.elementBytes == 0 || variable.count == 0) return -EINVAL;
    if (!format::addVariable(variable, bytes)) return -EMSGSIZE;
  }
  beginBlock();
  putText(name);
  putNumber(static_cast<std::uint32_t>(variables.size()));
  for (const VarDesc& variable : variables) {
    putText(variable.name);
    putNumber(variable.type);
    putNumber(static_cast<std::uint32_t>(variable.elementBytes));
    put(&variable.count, sizeof variable.count);
  }
  const auto id = static_cast<unsigned int>(sampleBytes.size());
  if (const int result = endBlock(format::SECTION_ADDED, id); result < 0) return result;
  // Ids are positions in this list.
  sampleBytes.push_back(bytes);
  return static_cast<int>(id);
}

int BlackboxWriter::sample(unsigned int id, const timespec& time, const void* bytes, std::size_t size) {
  if (status < 0) return status;
  if (id >= sampleBytes.size() || sampleBytes[id] != size) return -EINVAL;
  const format::SampleTime recorded{time.tv_sec, time.tv_nsec};
  beginBlock();
  put(&recorded, sizeof recorded);
  put(bytes, size);
  return endBlock(format::SAMPLE, id);
}

int BlackboxWriter::flush() {
  if (status < 0) return status;
  std::size_t written = 0;
  while (written < pending.size()) {
    const ssize_t count = write(file, pending.data() + written, pending.size() - written);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
      handedOver += static_cast<std::uint64_t>(count);
    } else if (errno != EINTR) {
      // A failure is final, because a reader could not go on behind a gap.
      return status = -errno;
    }
  }
  pending.clear();
  return 0;
}

int BlackboxWriter::close() {
  if (status == 0) {
    beginBlock();
    if (endBlock(format::END, 0) == 0) flush();
  }
  // The state is reset whatever happens, so that the writer can open another log.
  int result = status;
  // The first failure counts; the descriptor is gone even if close() fails.
  if (file >= 0 && ::close(file) < 0 && result == 0) result = -errno;
  file = -1;
  status = -EBADF;
  sampleBytes.clear();
  pending.clear();
  return result;
}

void BlackboxWriter::beginBlock() {
  blockStart = pending.size();
  // Room for the header, which endBlock() fills in when size and checksum are known.
  pending.resize(blockStart + sizeof(format::BlockHeader));
}

void BlackboxWriter::put(const void* bytes, std::size_t size) {
  const auto* first = static_cast<const unsigned char*>(bytes);
  pending.insert(pending.end(), first, first + size);
}

void BlackboxWriter::putText(const std::string& text) {
  putNumber(static_cast<std::uint32_t>(text.size()));
  put(text.data(), text.size());
}

/// Completes the header of the block begun last. A block that is too large is dropped again.
int BlackboxWriter::endBlock(std::uint32_t kind, unsigned int id) {
  const std::size_t payloadStart = blockStart + sizeof(format::BlockHeader);
  const std::size_t payloadBytes = pending.size() - payloadStart;
  if (payloadBytes > format::maxPayloadBytes) {
    pending.resize(blockStart);
    return -EMSGSIZE;
  }
  format::BlockHeader block{kind, id, static_cast<std::uint32_t>(payloadBytes),
                            format::checksum(pending.data() + payloadStart, payloadBytes), 0};
  block.headerChecksum = format::headerChecksum(block);
  std::memcpy(pending.data() + blockStart, &block, sizeof block);
  blockEnd = handedOver + pending.size();
  return pending.size() < gatheredBytes ? 0 : flush();
}

}  // namespace blackboxlog
