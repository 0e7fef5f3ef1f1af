#pragma once

#include <cstdint>

namespace telemetry {

/// How far a blackbox reader has come in its log, and how the log ended.
///
/// Our reader offers it beside BlackboxReaderItf; another one need not. Ask with a dynamic_cast.
class BlackboxPosition {
 public:
  virtual ~BlackboxPosition() = default;

  /// Offset of the first byte that is not part of a block delivered so far: where a cut log lacks its next
  /// block, and where the block of a damaged one begins.
  virtual std::uint64_t position() const = 0;

  /// Whether the log was read through the block that closes it; false for one that was cut.
  virtual bool closed() const = 0;
};

}  // namespace telemetry
