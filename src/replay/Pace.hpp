#pragma once

#include <optional>

/// What the replay does between two steps.
enum class Pace {
  SLEEP,  ///< sleeps for 1 microsecond, which the kernel makes about 20
  YIELD,  ///< offers the processor once and goes on at once when nobody wants it
};

/// The environment variable that names the pace.
constexpr const char* PACE_VARIABLE = "OSTREL_REPLAY_PACE";

/// The pace that the variable names, "sleep" or "yield"; SLEEP when it is unset or empty, nothing for any
/// other text.
std::optional<Pace> paceFromEnvironment();
