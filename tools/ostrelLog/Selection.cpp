#include "ostrelLog/Selection.hpp"

#include <fnmatch.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace logtool {

namespace {

/// Puts a backslash before each index in brackets, which would otherwise be a set of digits.
std::string withLiteralIndices(const std::string& pattern) {
  std::string result;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const std::size_t behind = pattern.find_first_not_of("0123456789", i + 1);
    const bool isIndex =
        pattern[i] == '[' && behind != std::string::npos && behind > i + 1 && pattern[behind] == ']';
    if (isIndex) result += '\\';
    result += pattern[i];
    // A backslash that the user wrote goes with the character behind it.
    if (pattern[i] == '\\' && i + 1 < pattern.size()) result += pattern[++i];
  }
  return result;
}

}  // namespace

void Selection::addTo(CLI::App& command) {
  command.add_option("--only", only, "Take only what this shell pattern matches; may be repeated")
      ->type_name("PATTERN")
      // One pattern each time: a list would swallow the log files that follow the option.
      ->allow_extra_args(false);
}

bool Selection::has(const std::string& name) const {
  return only.empty() || std::any_of(only.begin(), only.end(), [&name](const std::string& pattern) {
           // Without flags, `*` also matches dots, so that `inputs.*` takes the whole tree below it.
           return pattern == name || fnmatch(withLiteralIndices(pattern).c_str(), name.c_str(), 0) == 0;
         });
}

bool Selection::has(const RecordLayout& api, const LogVariable& argument) const {
  return has(api.name) || has(api.name + "." + argument.name);
}

Selection Selection::ofCalls(const std::vector<std::unique_ptr<const RecordLayout>>& apis) const {
  const auto isNamed = [this](const auto& api) { return has(*api); };
  return std::any_of(apis.begin(), apis.end(), isNamed) ? *this : Selection();
}

bool Selection::has(const RecordLayout& api) const {
  return has(api.name) || std::any_of(api.variables.begin(), api.variables.end(),
                                      [&](const LogVariable& argument) { return has(api, argument); });
}

}  // namespace logtool
