#pragma once

#include <cstdint>
#include <optional>

#include "telemetry/blackbox_reader.hpp"

/// How far a blackbox reader has come in its log.
struct ReaderPosition {
  std::uint64_t byte;  ///< everything before this offset has been delivered
  bool closed;         ///< whether the log was read through the block that closes it
};

/// Asks the reader; no value from a telemetry library that does not tell. Only our own layer tells it, so
/// its header (telemetry/blackbox_position.hpp) is optional. Without the answer a cut blackbox log can't be
/// told from a whole one.
std::optional<ReaderPosition> positionOf(const telemetry::BlackboxReaderItf& reader);
