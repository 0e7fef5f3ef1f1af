#pragma once

#include <memory>
#include <optional>
#include <string>

#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyHeader.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/preflight/Finding.hpp"

namespace logtool {

/// A legacy log whose header is read as a replay reads it.
template <class Format>
class LegacyLog {
 public:
  /// Opens the log, which stands at its first record then. A fault when a replay would refuse it; whatever
  /// else a replay has to say of the header is among the findings. `variantKey` is the header's key of the
  /// hardware variant.
  std::optional<Fault> open(const char* variantKey, Findings& findings);

  LegacyFile file;
  std::unique_ptr<Format> format;  ///< not null once the log is open
  std::string variant;             ///< empty when the header names none
};

}  // namespace logtool
