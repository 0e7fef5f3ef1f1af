#pragma once

#include <zlib.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "telemetry/var_desc.hpp"

/// The variable that names the step of a sample.
inline const telemetry::VarDesc INDEX = {"index", TLM_VAR_INT32, 1, 4};

/// Builds a blackbox log in memory, block by block and with correct checksums: also one that no writer
/// would make. `bytes` is the log so far.
class BlackboxBuilder {
 public:
  using Values = std::map<std::string, std::string>;

  /// A log of these header values.
  explicit BlackboxBuilder(const Values& header = {}) : bytes("TLMB" + number32(1)) {
    std::string payload = number32(header.size());
    for (const auto& [key, value] : header) payload += text(key) + text(value);
    block(1, 0, payload);
  }

  BlackboxBuilder& addSection(std::uint32_t id, const std::string& name,
                              const std::vector<telemetry::VarDesc>& variables) {
    return block(2, id, description(name, variables));
  }
  BlackboxBuilder& changeSection(std::uint32_t id, const std::string& name,
                                 const std::vector<telemetry::VarDesc>& variables) {
    return block(3, id, description(name, variables));
  }
  BlackboxBuilder& removeSection(std::uint32_t id) { return block(4, id, ""); }
  BlackboxBuilder& sample(std::uint32_t id, std::int64_t seconds, std::int64_t nanoseconds,
                          const std::string& values) {
    return block(5, id, raw(seconds) + raw(nanoseconds) + values);
  }
  BlackboxBuilder& end() { return block(6, 0, ""); }

  /// Any block at all; its header claims `excess` bytes more than the payload has.
  BlackboxBuilder& block(std::uint32_t kind, std::uint32_t section, const std::string& payload,
                         std::uint32_t excess = 0) {
    const std::string head = number32(kind) + number32(section) + number32(payload.size() + excess) +
                             number32(checksum(payload));
    bytes += head + number32(checksum(head)) + payload;
    return *this;
  }

  template <class Number>
  static std::string raw(Number value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
  }
  static std::string number32(std::uint64_t value) { return raw(static_cast<std::uint32_t>(value)); }
  static std::string text(const std::string& characters) {
    return number32(characters.size()) + characters;
  }

  std::string bytes;

 private:
  static std::uint64_t checksum(const std::string& of) {
    return crc32_z(0, reinterpret_cast<const Bytef*>(of.data()), of.size());
  }
  static std::string description(const std::string& name,
                                 const std::vector<telemetry::VarDesc>& variables) {
    std::string payload = text(name) + number32(variables.size());
    for (const telemetry::VarDesc& each : variables)
      payload += text(each.name) + number32(each.type) + number32(each.elementBytes) + raw(each.count);
    return payload;
  }
};
