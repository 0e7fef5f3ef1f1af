#include "ostrelLog/Selection.hpp"

#include <fnmatch.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace logtool {

void Selection::addTo(CLI::App& command) {
  command
      .add_option("--only", only,
                  "Take only what this shell pattern names, such as 'inputs.*'; may be repeated.\n"
                  "Calls are named API and API.ARGUMENT")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
  command
      .add_option("--section", section,
                  "Section of a blackbox log; otherwise the first one that has samples")
      ->type_name("NAME");
}

bool Selection::has(const std::string& name) const {
  return only.empty() || std::any_of(only.begin(), only.end(), [&name](const std::string& pattern) {
           return pattern == name || fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
         });
}

bool Selection::has(const RecordLayout& api, const telemetry::VarDesc& argument) const {
  return has(api.name) || has(api.name + "." + argument.name);
}

bool Selection::has(const RecordLayout& api) const {
  return has(api.name) ||
         std::any_of(api.variables.begin(), api.variables.end(),
                     [&](const telemetry::VarDesc& argument) { return has(api, argument); });
}

}  // namespace logtool
