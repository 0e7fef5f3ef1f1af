#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace logtool {

/// Something that a check has found in a log.
struct Finding {
  bool loss;                       ///< whether a replay loses something by it, or warns of it
  std::string kind;                ///< the same words for all findings of one kind, for programs
  std::string file;                ///< the log
  std::uint64_t count;             ///< of what is lost, or else of what was found
  std::string text;                ///< for a person, the count included
  std::vector<std::string> names;  ///< of columns, sensors, arguments or sections, where they matter
};

/// The findings in a log, in the order in which they were made.
class Findings {
 public:
  explicit Findings(std::string path) : file(std::move(path)) {}

  void loss(const char* kind, std::uint64_t count, std::string text, std::vector<std::string> names = {}) {
    add(true, kind, count, std::move(text), std::move(names));
  }

  void note(const char* kind, std::uint64_t count, std::string text) {
    add(false, kind, count, std::move(text), {});
  }

  void add(bool isLoss, const char* kind, std::uint64_t count, std::string text,
           std::vector<std::string> names) {
    list.push_back({isLoss, kind, file, count, std::move(text), std::move(names)});
  }

  const std::string file;
  std::vector<Finding> list;
};

}  // namespace logtool
