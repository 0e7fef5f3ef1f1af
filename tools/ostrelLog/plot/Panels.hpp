#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace logtool {

/// Curves that are drawn over each other.
struct Panel {
  std::string title;
  std::vector<std::size_t> variables;  ///< positions in the list of all variables
};

/// So many panels are shown at first. More can't be taken in at once.
constexpr std::size_t PANELS_AT_FIRST = 12;

/// The unit of a variable, as far as it is known from its name; empty where it is not.
std::string unitOf(const std::string& name);

/// The panels of one log. With patterns, one for each pattern, or one for each group of its variables where
/// they are too many for one panel. Otherwise a choice of at most PANELS_AT_FIRST groups: those that tell
/// most of a flight, then others, and only such as vary.
std::vector<Panel> choosePanels(const std::vector<std::string>& names, const std::vector<bool>& varies,
                                const std::vector<std::string>& patterns);

}  // namespace logtool
