#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "ostrelLog/Output.hpp"

namespace logtool {

/// The two logs of one flight.
struct Flight {
  std::string name;  ///< common path of the logs; with the ending where two flights share an event log
  std::string continuous;  ///< path; empty when there is none
  std::string events;      ///< path; empty when there is none
};

/// Which part of the flights this machine takes.
struct Shard {
  std::uint64_t number = 1;  ///< from 1
  std::uint64_t count = 1;
};

/// Finds the flights that the words of a command line name, each once and sorted by name. A word is a
/// folder, which is searched with all folders in it (links to folders are not followed); the common path of
/// NAME.cont or NAME.tlmb and NAME.events; or the path of a continuous log. A flight may lack one of its
/// logs. A fault when a folder can't be read.
std::optional<Fault> findFlights(const std::vector<std::string>& words, std::vector<Flight>& flights);

/// Appends the lines of a list of flights to `words`; "-" is standard input.
std::optional<Fault> readList(const std::string& path, std::vector<std::string>& words);

/// Leaves only the flights of one shard. It goes by the name, so a flight stays in its shard when others
/// are added.
void keepShard(const Shard& shard, std::vector<Flight>& flights);

}  // namespace logtool
