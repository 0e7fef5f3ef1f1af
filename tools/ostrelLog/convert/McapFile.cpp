#include "ostrelLog/convert/McapFile.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace logtool {

namespace {

// Of uncompressed records. Larger chunks compress little better, and a viewer unpacks a whole chunk to show
// one message of it.
constexpr std::size_t CHUNK_BYTES = 1U << 20;
constexpr int COMPRESSION_LEVEL = 1;
const std::string MAGIC("\x89MCAP0\r\n");
constexpr std::size_t RECORD_HEAD_BYTES = 1 + sizeof(std::uint64_t);  // opcode and length

/// Appends a text, or the entries of a list or a map: behind their length.
void append(std::string& bytes, const std::string& text) {
  appendNumber(bytes, static_cast<std::uint32_t>(text.size()));
  bytes += text;
}

template <class Number>
void append(std::string& bytes, Number number) {
  appendNumber(bytes, number);
}

/// The fields of a record, or of one entry of a list, one behind the other.
template <class... Fields>
std::string pack(const Fields&... fields) {
  std::string bytes;
  (append(bytes, fields), ...);
  return bytes;
}

std::string recordOf(std::uint8_t opcode, const std::string& content) {
  return pack(opcode, std::uint64_t{content.size()}) + content;
}

std::uint32_t checksum(std::uint32_t before, const std::string& bytes) {
  return libdeflate_crc32(before, bytes.data(), bytes.size());
}

}  // namespace

void McapFile::Times::add(std::uint64_t time) {
  first = any ? std::min(first, time) : time;
  last = std::max(last, time);
  any = true;
}

McapFile::McapFile(Sink target, bool compressChunks)
    : sink(std::move(target)), zstd(compressChunks ? ZSTD_createCCtx() : nullptr) {
  chunk.reserve(2 * CHUNK_BYTES);
}

int McapFile::begin() {
  const std::string noProfile;
  const int result = write(MAGIC);
  return result < 0 ? result : write(recordOf(HEADER, pack(noProfile, std::string(WRITER))));
}

std::uint16_t McapFile::addChannel(const std::string& topic, const std::string& type,
                                   const std::string& definition, const Metadata& metadata) {
  messageCounts.push_back(0);
  // Each channel has a type of its own, so one number serves both. Schema 0 would mean "none".
  const auto number = static_cast<std::uint16_t>(messageCounts.size());
  const std::string schema = recordOf(SCHEMA, pack(number, type, std::string("ros2msg"), definition));
  const std::string channel = recordOf(
      CHANNEL, pack(number, number, topic, std::string("cdr"), pack(metadata.first, metadata.second)));
  schemas += schema;
  channels += channel;
  // Also in front of the messages, for programs that read from the start.
  chunk += schema + channel;
  return number;
}

std::string& McapFile::beginMessage(std::uint16_t channel, std::uint64_t time) {
  messageStart = chunk.size();
  std::uint64_t& count = messageCounts[channel - 1U];
  appendNumber(chunk, std::uint8_t{MESSAGE});
  appendNumber(chunk, std::uint64_t{0});  // the length is not known before endMessage()
  appendNumber(chunk, channel);
  appendNumber(chunk, static_cast<std::uint32_t>(count++));
  appendNumber(chunk, time);  // of the log
  appendNumber(chunk, time);  // of the publication
  std::string& index = messageIndexes[channel];
  appendNumber(index, time);
  appendNumber(index, std::uint64_t{messageStart});
  chunkTimes.add(time);
  fileTimes.add(time);
  return chunk;
}

int McapFile::endMessage() {
  const std::uint64_t length = chunk.size() - messageStart - RECORD_HEAD_BYTES;
  std::memcpy(chunk.data() + messageStart + 1, &length, sizeof length);
  return chunk.size() < CHUNK_BYTES ? 0 : writeChunk();
}

int McapFile::end() {
  int result = writeChunk();
  if (result == 0) result = write(recordOf(DATA_END, pack(crc)));

  const std::uint64_t start = offset;
  std::string summary;
  std::string offsets;
  const auto addGroup = [&](Opcode opcode, const std::string& records) {
    const std::uint64_t groupStart = start + summary.size();
    offsets +=
        recordOf(SUMMARY_OFFSET, pack(std::uint8_t{opcode}, groupStart, std::uint64_t{records.size()}));
    summary += records;
  };
  addGroup(SCHEMA, schemas);
  addGroup(CHANNEL, channels);
  addGroup(STATISTICS, statistics());
  if (chunkCount > 0) addGroup(CHUNK_INDEX, chunkIndexes);
  const std::uint64_t offsetsStart = start + summary.size();
  // The footer's checksum covers the footer too, up to itself.
  constexpr std::uint64_t FOOTER_BYTES = 2 * sizeof(std::uint64_t) + sizeof(std::uint32_t);
  summary += offsets + pack(std::uint8_t{FOOTER}, FOOTER_BYTES, start, offsetsStart);
  if (result == 0) result = write(summary + pack(checksum(0, summary)) + MAGIC);
  return result;
}

/// Writes the chunk under way, with the indexes of its messages, and begins another one.
int McapFile::writeChunk() {
  if (chunk.empty()) return 0;
  const std::string& records = compressedChunk();
  if (records.empty()) return -ENOMEM;  // nothing else keeps the library from compressing
  const std::string compression = zstd ? "zstd" : "";
  const std::uint64_t start = offset;
  const std::uint64_t bytes = chunk.size();
  const std::uint64_t packedBytes = records.size();
  int result = write(recordOf(
      CHUNK, pack(chunkTimes.first, chunkTimes.last, bytes, checksum(0, chunk), compression, packedBytes) +
                 records));
  const std::uint64_t behindChunk = offset;
  std::string indexOffsets;
  for (const auto& [channel, entries] : messageIndexes) {
    indexOffsets += pack(channel, offset);
    if (result == 0) result = write(recordOf(MESSAGE_INDEX, pack(channel, entries)));
  }
  chunkIndexes +=
      recordOf(CHUNK_INDEX, pack(chunkTimes.first, chunkTimes.last, start, behindChunk - start,
                                 indexOffsets, offset - behindChunk, compression, packedBytes, bytes));
  ++chunkCount;
  chunk.clear();
  chunkTimes = Times();
  messageIndexes.clear();
  return result;
}

std::string McapFile::statistics() const {
  std::string counts;
  std::uint64_t messages = 0;
  for (std::size_t i = 0; i < messageCounts.size(); ++i) {
    counts += pack(static_cast<std::uint16_t>(i + 1), messageCounts[i]);
    messages += messageCounts[i];
  }
  const auto channelCount = static_cast<std::uint32_t>(messageCounts.size());
  const auto schemaCount = static_cast<std::uint16_t>(messageCounts.size());
  const std::uint32_t attachments = 0;
  const std::uint32_t metadataRecords = 0;
  return recordOf(STATISTICS, pack(messages, schemaCount, channelCount, attachments, metadataRecords,
                                   chunkCount, fileTimes.first, fileTimes.last, counts));
}

/// The records of the chunk as they go to the file; empty when they can't be compressed.
const std::string& McapFile::compressedChunk() {
  if (!zstd) return chunk;
  compressed.resize(ZSTD_compressBound(chunk.size()));
  const std::size_t size = ZSTD_compressCCtx(zstd.get(), compressed.data(), compressed.size(), chunk.data(),
                                             chunk.size(), COMPRESSION_LEVEL);
  compressed.resize(ZSTD_isError(size) != 0 ? 0 : size);
  return compressed;
}

int McapFile::write(const std::string& bytes) {
  crc = checksum(crc, bytes);
  offset += bytes.size();
  return sink(bytes.data(), bytes.size());
}

}  // namespace logtool
