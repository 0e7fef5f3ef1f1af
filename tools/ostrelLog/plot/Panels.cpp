#include "ostrelLog/plot/Panels.hpp"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <map>
#include <regex>

#include "ostrelLog/Selection.hpp"

namespace logtool {

namespace {

/// As many as there are colours that can be told apart.
constexpr std::size_t CURVES_IN_PANEL = 8;

struct KnownUnit {
  const char* pattern;  ///< of a name in which every index in brackets is written as #
  const char* unit;
};

// The first match counts.
constexpr std::array KNOWN_UNITS = {
    KnownUnit{"*.imu.gyro#.?", "rad/s"},
    KnownUnit{"*.imu.acc#.?", "m/s²"},
    KnownUnit{"*.imu.nb_samples", "sub-samples"},
    KnownUnit{"*.imu.temp#", "°C"},
    KnownUnit{"*.temperature", "°C"},
    KnownUnit{"*.baro.pressure", "Pa"},
    KnownUnit{"*.magneto.?", "gauss"},
    KnownUnit{"*.rpm", "rpm"},
    KnownUnit{"*.pwm", "of 255"},
    KnownUnit{"*.vbat", "V"},
    KnownUnit{"*.motors.status#", "1 with a command"},
    KnownUnit{"*.motors.*", "bit i: motor i"},
    KnownUnit{"*.us.altitude*", "m"},
    KnownUnit{"*.us.range_mode", "mode"},
    KnownUnit{"*.measure_index", "measures"},
    KnownUnit{"*.latitude", "°"},
    KnownUnit{"*.longitude", "°"},
    KnownUnit{"*.amsl_altitude", "m"},
    KnownUnit{"*.gps.location.timestamp", "ms"},
    KnownUnit{"*.last_ref_image_ts", "time"},
    KnownUnit{"*_err", "m"},
    KnownUnit{"*_vel", "m/s"},
    KnownUnit{"*.vel_sigma", "m/s"},
    KnownUnit{"*.sv_used_cnt", "satellites"},
    KnownUnit{"*.battery.voltage", "V"},
    KnownUnit{"*.battery.current", "A"},
    KnownUnit{"*.battery.capacity", "mAh"},
    KnownUnit{"*_cap", "mAh"},
    KnownUnit{"*.time_to_empty", "s"},
    KnownUnit{"*.cycle_count", "cycles"},
    KnownUnit{"*.distance", "m"},
    KnownUnit{"*.position.?", "m"},
    KnownUnit{"*.carpet_detection.?", "m"},
    KnownUnit{"*.orientation", "rad"},
    KnownUnit{"*.nb_targets", "targets"},
    KnownUnit{"*.nb_valid_zones", "zones"},
    KnownUnit{"*.optical_flow.?", "rad/s"},
    KnownUnit{"*_ratio", "ratio"},
    KnownUnit{"*.tv_sec", "s"},
    KnownUnit{"*.tv_nsec", "ns"},
    KnownUnit{"*flags", "bits"},
    KnownUnit{"outputs.state", "0 landed, 1 taking off, 2 flying, 3 landing, 4 emergency"},
    KnownUnit{"outputs.armed", "1 armed"},
    KnownUnit{"outputs.attitude#", "unit quaternion w, x, y, z"},
    KnownUnit{"outputs.vertical_position", "m"},
    KnownUnit{"outputs.vertical_speed", "m/s"},
    KnownUnit{"outputs.take_off_altitude", "m"},
    KnownUnit{"outputs.follow_distance", "m"},
    KnownUnit{"outputs.velocity_setpoint#", "m/s"},
    KnownUnit{"outputs.yaw_rate_setpoint", "rad/s"},
    KnownUnit{"outputs.follow_trajectory", "kind of trajectory"},
    KnownUnit{"outputs.call_count", "calls"},
    KnownUnit{"outputs.step_count", "steps"},
    KnownUnit{"index", "steps"},
};

/// The groups that tell most of a flight, the first one most.
constexpr std::array FIRST_CHOICE = {
    "outputs.vertical_position",
    "outputs.vertical_speed",
    "outputs.attitude[*]",
    "outputs.state",
    "outputs.velocity_setpoint*",
    "*.imu.gyro[0].*",
    "*.imu.acc[0].*",
    "*.baro.pressure",
    "*.gps.location.amsl_altitude",
    "*.gps.extra_eride.*_vel",
    "*.motors.speeds[*].rpm",
    "*.battery.voltage",
    "*.us.altitude",
    "*.tof_vertical.distance",
    "*.magneto.*",
    "*.battery.current",
};

bool matches(const std::string& pattern, const std::string& name) {
  return Selection{{pattern}}.has(name);
}

/// The group of a variable as a title: its name with * for the axis, for the index, or for what is in front
/// of _err and _vel. Values of another unit or scale make another group.
std::string groupOf(const std::string& name) {
  static const std::regex axis("\\.[xyz]$"), ending("\\.[a-z]+_(err|vel)$"), index("\\[[0-9]+\\](?!.*\\])");
  // Altitude, latitude and longitude, which have no scale in common.
  if (name.find(".home[") != std::string::npos) return name;
  if (std::regex_search(name, axis)) return std::regex_replace(name, axis, ".*");
  if (std::regex_search(name, ending)) return std::regex_replace(name, ending, ".*_$1");
  return std::regex_replace(name, index, "[*]");
}

void add(std::vector<Panel>& panels, const std::string& title, std::size_t variable) {
  const auto sameTitle = [&title](const Panel& panel) {
    return panel.title == title && panel.variables.size() < CURVES_IN_PANEL;
  };
  auto panel = std::find_if(panels.begin(), panels.end(), sameTitle);
  if (panel == panels.end()) panel = panels.insert(panel, Panel{title, {}});
  panel->variables.push_back(variable);
}

std::vector<Panel> panelsOf(const std::vector<std::string>& names, const std::string& pattern) {
  std::vector<Panel> groups;
  Panel together{pattern, {}};
  for (std::size_t i = 0; i < names.size(); ++i) {
    // An element is also selected by the name of its array.
    if (!matches(pattern, names[i]) && !matches(pattern, names[i].substr(0, names[i].rfind('[')))) continue;
    add(groups, groupOf(names[i]), i);
    together.variables.push_back(i);
  }
  if (together.variables.size() > CURVES_IN_PANEL) return groups;
  if (together.variables.empty()) return {};
  return {together};
}

/// Gives panels of one variable its name, and those that have their title in common the names of their
/// first and last variables.
void nameByVariables(std::vector<Panel>& panels, const std::vector<std::string>& names) {
  std::map<std::string, int> uses;
  for (const Panel& panel : panels) ++uses[panel.title];
  for (Panel& panel : panels) {
    if (uses[panel.title] == 1 && panel.variables.size() > 1) continue;
    panel.title = names[panel.variables.front()];
    if (panel.variables.size() > 1) panel.title += " to " + names[panel.variables.back()];
  }
}

/// Whether the group is of no interest unless somebody asks for it: clocks and counters only ever rise.
bool isClock(const Panel& group, const std::vector<std::string>& names) {
  static const std::regex clock("(^|\\.|_)(index|tv_n?sec|timestamp|ts|step_count)$");
  return std::regex_search(names[group.variables.front()], clock);
}

}  // namespace

std::string unitOf(const std::string& name) {
  static const std::regex index("\\[[0-9]+\\]");
  if (name == "outputs.home[0]") return "m";
  if (name == "outputs.home[1]" || name == "outputs.home[2]") return "°";
  const std::string plain = std::regex_replace(name, index, "#");
  const auto* const known = std::find_if(
      KNOWN_UNITS.begin(), KNOWN_UNITS.end(),
      [&plain](const KnownUnit& candidate) { return fnmatch(candidate.pattern, plain.c_str(), 0) == 0; });
  return known == KNOWN_UNITS.end() ? "" : known->unit;
}

std::vector<Panel> choosePanels(const std::vector<std::string>& names, const std::vector<bool>& varies,
                                const std::vector<std::string>& patterns) {
  std::vector<Panel> chosen;
  for (const std::string& pattern : patterns) {
    for (Panel& panel : panelsOf(names, pattern)) chosen.push_back(std::move(panel));
  }
  if (!patterns.empty()) {
    nameByVariables(chosen, names);
    return chosen;
  }
  std::vector<Panel> groups;
  for (std::size_t i = 0; i < names.size(); ++i) add(groups, groupOf(names[i]), i);
  const auto isStill = [&varies](const Panel& group) {
    return std::none_of(group.variables.begin(), group.variables.end(),
                        [&varies](std::size_t variable) { return varies[variable]; });
  };
  // A log in which nothing but clocks varies, such as one of a single step, has something to show as well.
  const auto tellsNothing = [&](const Panel& group) { return isStill(group) || isClock(group, names); };
  if (!std::all_of(groups.begin(), groups.end(), tellsNothing)) {
    groups.erase(std::remove_if(groups.begin(), groups.end(), isStill), groups.end());
  }
  // Takes out the groups that fit, in their order, until there are enough panels.
  const auto take = [&](const auto& fits) {
    for (auto group = groups.begin(); group != groups.end() && chosen.size() < PANELS_AT_FIRST;) {
      if (fits(*group)) {
        chosen.push_back(std::move(*group));
        group = groups.erase(group);
      } else {
        ++group;
      }
    }
  };
  for (const char* pattern : FIRST_CHOICE) {
    take([pattern](const Panel& group) { return group.title == pattern || matches(pattern, group.title); });
  }
  take([&names](const Panel& group) { return !isClock(group, names); });
  if (chosen.empty()) take([](const Panel&) { return true; });
  nameByVariables(chosen, names);
  return chosen;
}

}  // namespace logtool
