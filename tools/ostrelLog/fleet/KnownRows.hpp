#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/compare/LogPair.hpp"
#include "ostrelLog/render/Json.hpp"

namespace logtool {

/// What is kept of the rows that a file has already.
struct KnownRows {
  /// A file as a row describes it: while size and time of change are the same, so is the digest.
  struct File {
    std::uint64_t bytes;
    std::int64_t changed;  ///< nanoseconds
    std::string digest;
  };

  void add(const Json& row);

  std::map<std::string, std::string> verdicts;  ///< by key
  std::map<std::string, File> files;            ///< by path
  std::map<std::string, int> keptByVariable;    ///< flights whose exports are kept, by what differs first
};

/// What differs first in a row's flight; "null" when that is no variable.
std::string firstVariable(const Json& row);

/// The replays of an earlier run, by what decides their result.
struct Baseline {
  void add(const Json& row);

  /// What decides the compared values of one replay of a row's flight: its logs, the libraries of the side,
  /// and which values are compared.
  static std::string identity(const Json& row, Side side);

  /// The side's object in its row, for replays that have run and were compared; as text, which takes less
  /// memory.
  std::map<std::string, std::string> sides;
};

/// Name of a side in a row.
constexpr const char* keyOf(Side side) {
  return side == Side::A ? "a" : "b";
}

/// Calls `take` with each row of a file of rows. Half a last line is no row. A fault for a file that can't
/// be read, or that has a line that is no row. `wholeBytes` becomes the length of the file without half a
/// line.
std::optional<Fault> readRows(const std::string& path, const std::function<void(const Json&)>& take,
                              std::uint64_t& wholeBytes);

}  // namespace logtool
