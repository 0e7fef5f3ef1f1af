#include "replay/Pace.hpp"

#include <cstdlib>
#include <string_view>

std::optional<Pace> paceFromEnvironment() {
  const char* const value = std::getenv(PACE_VARIABLE);
  const std::string_view text = value == nullptr ? "" : value;
  if (text.empty() || text == "sleep") return Pace::SLEEP;
  if (text == "yield") return Pace::YIELD;
  return std::nullopt;
}
