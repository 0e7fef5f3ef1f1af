#include "ostrelLog/fleet/Flights.hpp"

#include <xxhash.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

namespace logtool {

namespace {

namespace fs = std::filesystem;

const std::string EVENTS = ".events";
const std::vector<std::string> CONTINUOUS = {".cont", ".tlmb"};

bool isContinuous(const fs::path& file) {
  return std::find(CONTINUOUS.begin(), CONTINUOUS.end(), file.extension()) != CONTINUOUS.end();
}

bool isFile(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(path, ignored);
}

/// The flights by name, while they are gathered.
class Gathered {
 public:
  /// Adds what lies under the common path of a flight's logs; a flight without any log when there is none.
  void addStem(const std::string& stem) {
    const std::vector<std::string> continuous = continuousOf(stem);
    if (continuous.size() < 2) {
      flights[stem] = {stem, continuous.empty() ? "" : continuous.front(), eventsOf(stem)};
    } else {
      for (const std::string& file : continuous) flights[file] = {file, file, eventsOf(stem)};
    }
  }

  /// Adds the flight of one continuous log.
  void addContinuous(const fs::path& file) {
    const std::string stem = fs::path(file).replace_extension().string();
    const std::string name = continuousOf(stem).size() < 2 ? stem : file.string();
    flights[name] = {name, file.string(), eventsOf(stem)};
  }

  std::optional<Fault> addFolder(const std::string& folder) {
    std::error_code failure;
    for (fs::recursive_directory_iterator at(folder, failure), end; !failure && at != end;
         at.increment(failure)) {
      const fs::path& path = at->path();
      if (path.extension() != EVENTS && !isContinuous(path)) continue;
      std::error_code ignored;
      if (!at->is_directory(ignored)) addStem(fs::path(path).replace_extension().string());
    }
    if (failure) return Fault{folder, failure.message()};
    return std::nullopt;
  }

  std::map<std::string, Flight> flights;

 private:
  static std::vector<std::string> continuousOf(const std::string& stem) {
    std::vector<std::string> files;
    for (const std::string& ending : CONTINUOUS) {
      if (isFile(stem + ending)) files.push_back(stem + ending);
    }
    return files;
  }

  static std::string eventsOf(const std::string& stem) {
    return isFile(stem + EVENTS) ? stem + EVENTS : "";
  }
};

}  // namespace

std::optional<Fault> findFlights(const std::vector<std::string>& words, std::vector<Flight>& flights) {
  Gathered gathered;
  for (const std::string& word : words) {
    const fs::path path = fs::path(word).lexically_normal();
    std::error_code ignored;
    if (isContinuous(path) && isFile(path)) {
      gathered.addContinuous(path);
    } else if (fs::is_directory(path, ignored)) {
      if (auto fault = gathered.addFolder(path.string())) return fault;
    } else {
      gathered.addStem(path.string());
    }
  }
  for (auto& [name, flight] : gathered.flights) flights.push_back(std::move(flight));
  return std::nullopt;
}

std::optional<Fault> readList(const std::string& path, std::vector<std::string>& words) {
  std::ifstream file;
  if (path != "-") file.open(path);
  std::istream& list = path == "-" ? std::cin : file;
  for (std::string line; std::getline(list, line);) {
    if (!line.empty()) words.push_back(line);
  }
  if (path != "-" && !file.is_open()) return Fault{path, "can't be opened"};
  if (list.bad()) return Fault{path, "can't be read"};
  return std::nullopt;
}

void keepShard(const Shard& shard, std::vector<Flight>& flights) {
  const auto elsewhere = [&shard](const Flight& flight) {
    return XXH3_64bits(flight.name.data(), flight.name.size()) % shard.count != shard.number - 1;
  };
  flights.erase(std::remove_if(flights.begin(), flights.end(), elsewhere), flights.end());
}

}  // namespace logtool
