#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestFolder.hpp"

/// A legacy log taken apart, without any of the tool's own readers.
struct ParsedLog {
  std::map<std::string, std::string> header;  ///< key to value text, as written
  std::string data;                           ///< the data section's bytes
  std::vector<double> values;                 ///< the same, as numbers

  explicit ParsedLog(const std::string& path) {
    const std::string bytes = readFile(path);
    const std::string end = "-- Data\n";
    const std::size_t dataStart = bytes.find(end) + end.size();
    std::istringstream lines(bytes.substr(0, dataStart));
    for (std::string line; std::getline(lines, line);) {
      const std::size_t colon = line.find(" : ");
      if (colon != std::string::npos) header.emplace(line.substr(0, colon), line.substr(colon + 3));
    }
    data = bytes.substr(dataStart);
    EXPECT_EQ(data.size() % sizeof(double), 0U);
    values.resize(data.size() / sizeof(double));
    std::memcpy(values.data(), data.data(), values.size() * sizeof(double));
  }

  /// The values of a header key that holds a list.
  std::vector<std::string> list(const std::string& key) const {
    std::vector<std::string> pieces;
    std::istringstream text(header.at(key));
    for (std::string piece; std::getline(text >> std::ws, piece, ',');) pieces.push_back(piece);
    return pieces;
  }

  /// One column of a continuous log, by the name below "inputs.sensors." ("index" by itself).
  std::vector<double> column(const std::string& name) const {
    const std::vector<std::string> titles = list("titles");
    const std::string title = name == "index" ? name : "inputs.sensors." + name;
    const auto found = std::find(titles.begin(), titles.end(), title);
    EXPECT_NE(found, titles.end()) << name;
    std::vector<double> picked;
    const auto first = static_cast<std::size_t>(found - titles.begin());
    for (std::size_t at = first; at < values.size(); at += titles.size()) picked.push_back(values[at]);
    return picked;
  }
};
