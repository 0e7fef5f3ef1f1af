#pragma once

#include <libdeflate.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "telemetry/var_desc.hpp"

/// The byte layout of a blackbox log. All numbers are little-endian, nothing is padded or aligned.
///
///   log      "TLMB", version u32, then blocks: one HEADER first, one END last
///   block    kind u32, section u32, payloadBytes u32, payloadChecksum u32, headerChecksum u32, payload
///   text     length u32, that many bytes
///
///   kind                 section   payload
///   1 HEADER             0         count u32, then that many times: key text, value text
///   2 SECTION_ADDED      its id    name text, count u32, then per variable: name text, type u32,
///   3 SECTION_CHANGED    its id      elementBytes u32, count u64
///   4 SECTION_REMOVED    its id    none
///   5 SAMPLE             its id    seconds i64, nanoseconds i64, then the variables' values back to back
///   6 END                0         none
///
/// Checksums are the CRC-32 of gzip: payloadChecksum over the payload, headerChecksum over the 16 bytes
/// before it. The header has its own so that a damaged length is never taken for a length: a log whose next
/// block is incomplete was cut, one whose checksums don't fit is damaged. The END block tells a log that
/// was closed from one that was cut between two blocks.
namespace telemetry::format {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "numbers and values go to the log as they are");

constexpr char magic[4] = {'T', 'L', 'M', 'B'};
constexpr std::uint32_t version = 1;

struct Preamble {
  char magic[4];
  std::uint32_t version;
};
static_assert(sizeof(Preamble) == 8);

enum BlockKind : std::uint32_t {
  HEADER = 1,
  SECTION_ADDED = 2,
  SECTION_CHANGED = 3,
  SECTION_REMOVED = 4,
  SAMPLE = 5,
  END = 6,
};

struct BlockHeader {
  std::uint32_t kind;
  std::uint32_t section;
  std::uint32_t payloadBytes;
  std::uint32_t payloadChecksum;
  std::uint32_t headerChecksum;
};
static_assert(sizeof(BlockHeader) == 20);

struct SampleTime {
  std::int64_t seconds;
  std::int64_t nanoseconds;
};
static_assert(sizeof(SampleTime) == 16);

// These bound a reader's memory, whatever a log claims.
constexpr std::size_t maxPayloadBytes = 1U << 20;
constexpr std::size_t maxSections = 256;

inline std::uint32_t checksum(const void* bytes, std::size_t size) {
  // This library uses the processor's own instructions, in a tenth of the time that a table takes.
  return libdeflate_crc32(0, bytes, size);
}

inline std::uint32_t headerChecksum(const BlockHeader& header) {
  return checksum(&header, offsetof(BlockHeader, headerChecksum));
}

/// Adds one variable's bytes to those of its section's sample. False, and `sampleBytes` as it was, when the
/// variable has none or the sample would not fit in a block.
inline bool addVariable(const VarDesc& variable, std::size_t& sampleBytes) {
  const std::size_t room = maxPayloadBytes - sizeof(SampleTime) - sampleBytes;
  if (variable.elementBytes == 0 || variable.count == 0 || variable.count > room / variable.elementBytes)
    return false;
  sampleBytes += variable.elementBytes * variable.count;
  return true;
}

}  // namespace telemetry::format
