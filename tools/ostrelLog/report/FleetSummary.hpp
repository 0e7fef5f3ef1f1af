#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace logtool {

/// One row of `regress`, as far as a report speaks of it.
struct FlightRow {
  std::string flight;
  std::string verdict;
  std::string reason;    ///< "" when the row has none
  nlohmann::json first;  ///< the first difference, as in the row; null when there is none
  double seconds = 0;    ///< that the flight's replays took

  /// The row on this line; nothing when it is none.
  static std::optional<FlightRow> parse(const std::string& line);

  /// What flights with the same trouble have in common: the first variable that differs, or the reason.
  std::string what() const;
};

/// Flights with the same verdict and the same first differing variable or reason.
struct Bin {
  std::string verdict;
  std::string what;
  std::uint64_t flights = 0;
  std::vector<FlightRow> earliest;  ///< those that differ earliest, at most as many as a report names
};

/// What the rows of a fleet say together. It holds the bins and a few flights, never all of them.
class FleetSummary {
 public:
  /// How many flights a report names under each heading.
  static constexpr std::size_t NAMED = 10;

  /// All verdicts of `regress`, in the order of the headline.
  static const std::array<const char*, 8>& verdicts();

  /// Adds a row; false, and nothing is added, when its verdict is unknown.
  bool add(const FlightRow& row);

  std::uint64_t flights() const { return total; }
  std::uint64_t flightsOf(const std::string& verdict) const;
  /// The bins of all verdicts but "same", largest first.
  std::vector<Bin> bins() const;
  /// One flight of each bin, largest bin first, then a second one of each, and so on.
  std::vector<FlightRow> lookFirst() const;
  /// Slowest first.
  const std::vector<FlightRow>& slowest() const { return slow; }

  /// Expected flights that have no row; nothing when nobody said which are expected.
  std::optional<std::vector<std::string>> withoutRow;

 private:
  std::uint64_t total = 0;
  std::map<std::string, std::uint64_t> countOf;              ///< by verdict
  std::map<std::pair<std::string, std::string>, Bin> binOf;  ///< by verdict and what they share
  std::vector<FlightRow> slow;
};

}  // namespace logtool
