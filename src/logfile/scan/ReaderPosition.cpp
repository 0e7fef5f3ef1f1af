#include "logfile/scan/ReaderPosition.hpp"

#if __has_include("telemetry/blackbox_position.hpp")

#include "telemetry/blackbox_position.hpp"

std::optional<ReaderPosition> positionOf(const telemetry::BlackboxReaderItf& reader) {
  // Also where the headers describe it, a library that is loaded later in place of ours need not offer it.
  const auto* progress = dynamic_cast<const telemetry::BlackboxPosition*>(&reader);
  if (progress == nullptr) return std::nullopt;
  return ReaderPosition{progress->position(), progress->closed()};
}

#else

std::optional<ReaderPosition> positionOf(const telemetry::BlackboxReaderItf& /*reader*/) {
  return std::nullopt;
}

#endif
