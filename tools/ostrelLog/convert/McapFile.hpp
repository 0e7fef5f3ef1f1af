#pragma once

#include <zstd.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ostrelLog/convert/FlightWriter.hpp"

namespace logtool {

/// Appends a number, little-endian, as it lies in memory.
template <class Number>
void appendNumber(std::string& bytes, Number number) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);
  bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

/// Writes a file of timed messages on channels (MCAP, version 0).
///
///     magic, Header
///     chunks        a Chunk, which holds Schemas, Channels and Messages, then a Message Index per channel
///     Data End
///     summary       the Schemas and Channels again, Statistics, Chunk Indexes
///     Summary Offsets, Footer, magic
///
/// A record is an opcode (u8), the length of its content (u64) and the content. All numbers are
/// little-endian, times are nanoseconds, a text is its length (u32) and its bytes, a list or a map is the
/// length of its entries in bytes (u32) and the entries. The indexes let a viewer show any place of the
/// file without reading the rest. Every part that the format has a CRC-32 for gets one.
///
/// Every operation that writes gives 0, or the negated errno of the sink. In memory are one chunk and the
/// summary, which grows by some 300 bytes with each megabyte of messages.
class McapFile {
 public:
  /// A pair of texts for each channel, which viewers show beside it.
  using Metadata = std::pair<std::string, std::string>;

  McapFile(Sink target, bool compressChunks);

  int begin();
  /// Adds a message type and a channel for its messages; the channel's number. `definition` is in ros2msg.
  std::uint16_t addChannel(const std::string& topic, const std::string& type, const std::string& definition,
                           const Metadata& metadata);
  /// Begins a message. The caller appends its data (cdr) to the bytes returned, and then calls
  /// endMessage().
  std::string& beginMessage(std::uint16_t channel, std::uint64_t time);
  int endMessage();
  int end();

 private:
  enum Opcode : std::uint8_t {
    HEADER = 1,
    FOOTER = 2,
    SCHEMA = 3,
    CHANNEL = 4,
    MESSAGE = 5,
    CHUNK = 6,
    MESSAGE_INDEX = 7,
    CHUNK_INDEX = 8,
    STATISTICS = 0x0B,
    SUMMARY_OFFSET = 0x0E,
    DATA_END = 0x0F,
  };

  struct Times {
    void add(std::uint64_t time);

    bool any = false;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
  };

  struct ZstdDeleter {
    void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
  };

  int write(const std::string& bytes);
  int writeChunk();
  std::string statistics() const;
  const std::string& compressedChunk();

  const Sink sink;
  const std::unique_ptr<ZSTD_CCtx, ZstdDeleter> zstd;  ///< null: chunks are not compressed
  std::uint64_t offset = 0;                            ///< bytes written
  std::uint32_t crc = 0;                               ///< of these bytes

  std::string chunk;  ///< the records of the chunk under way
  std::string compressed;
  std::size_t messageStart = 0;  ///< of the message under way, in `chunk`
  Times chunkTimes;
  Times fileTimes;
  std::map<std::uint16_t, std::string> messageIndexes;  ///< entries for the chunk, by channel
  std::vector<std::uint64_t> messageCounts;             ///< by channel, of which the first is 1

  std::string schemas;  ///< records for the summary
  std::string channels;
  std::string chunkIndexes;
  std::uint32_t chunkCount = 0;
};

}  // namespace logtool
