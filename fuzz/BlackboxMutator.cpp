#include <algorithm>
#include <cstring>

#include "Support.hpp"
#include "blackbox_format.hpp"
#include "support/BlackboxBuilder.hpp"

namespace format = telemetry::format;

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t room);

namespace {

/// A log of little more than the index, whose width changes: no export of ours has that.
std::string smallLog() {
  BlackboxBuilder log(BlackboxBuilder::Values{{"ro.hardware", "x"}});
  log.addSection(0, "navdata-replay", {});
  for (const std::size_t width : {4UL, 8UL, 2UL}) {
    log.changeSection(0, "navdata-replay",
                      {{"index", TLM_VAR_INT32, 1, width}, {"x", TLM_VAR_UINT8, 2, 1}});
    log.sample(0, 0, 0, std::string(width + 2, 'x'));
  }
  return log.end().bytes;
}

}  // namespace

/// Changes what the checksums cover as well as what they guard: few inputs would get past them otherwise.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t size, std::size_t room,
                                               unsigned int seed) {
  static const std::string small = smallLog();
  if (seed % 256 == 1 && room >= small.size())
    return small.copy(reinterpret_cast<char*>(bytes), small.size());
  const bool isBlackbox = size >= 4 && std::memcmp(bytes, format::magic, 4) == 0;
  if (!isBlackbox || seed % 16 == 0) return LLVMFuzzerMutate(bytes, size, room);

  std::string log(reinterpret_cast<char*>(bytes), size);
  const bool anywhere = seed % 4 == 0;
  if (anywhere) log.resize(LLVMFuzzerMutate(bytes, size, room));
  if (anywhere) log.assign(bytes, bytes + log.size());
  std::size_t blocksLeft = anywhere ? log.size() : seed / 16 % 8;
  format::BlockHeader block;
  for (std::size_t start = sizeof(format::Preamble); start + sizeof(block) <= log.size();) {
    std::memcpy(&block, &log[start], sizeof(block));
    const std::size_t payload = start + sizeof(block);
    block.payloadBytes =
        static_cast<std::uint32_t>(std::min<std::size_t>(block.payloadBytes, log.size() - payload));
    if (blocksLeft-- == 0) {
      std::string part = log.substr(payload, block.payloadBytes);
      part.resize(std::min(part.size() + 64, part.size() + room - log.size()));
      part.resize(
          LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(part.data()), block.payloadBytes, part.size()));
      log.replace(payload, block.payloadBytes, part);
      block.payloadBytes = static_cast<std::uint32_t>(part.size());
    }
    block.payloadChecksum = format::checksum(&log[payload], block.payloadBytes);
    block.headerChecksum = format::headerChecksum(block);
    std::memcpy(&log[start], &block, sizeof(block));
    start = payload + block.payloadBytes;
  }
  return log.copy(reinterpret_cast<char*>(bytes), room);
}
