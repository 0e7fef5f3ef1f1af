#pragma once

#include <initializer_list>
#include <string>
#include <vector>

/// Small legacy logs, built as text and bytes.

/// The bytes of a record's values.
inline std::string values(std::initializer_list<double> numbers) {
  return {reinterpret_cast<const char*>(numbers.begin()), numbers.size() * sizeof(double)};
}

/// An event record: the call of the API `id` at `step`.
inline std::string event(double step, double id, const std::vector<double>& arguments = {}) {
  std::string bytes = values({8.0 * (3.0 + static_cast<double>(arguments.size())), step, id});
  for (const double argument : arguments) bytes += values({argument});
  return bytes;
}

/// A whole header around these lines, each with its line feed.
inline std::string header(const std::string& lines) {
  return "-- Build infos\n" + lines + "-- Data\n";
}

/// The header of a continuous log with these columns.
inline std::string continuousHeader(const std::vector<std::string>& columns, const std::string& more = "") {
  std::string titles;
  for (const std::string& column : columns) titles += (titles.empty() ? "" : ", ") + column;
  return header("nentries : " + std::to_string(columns.size()) + "\ntitles : " + titles + "\n" + more);
}

/// The header of an event log.
inline std::string eventHeader(const std::string& titles, const std::string& argNb,
                               const std::string& argList, const std::string& more = "") {
  return header("type : events\ntitles : " + titles + "\ntypes : any\nnentries : 1\nargNb : " + argNb +
                "\nargList : " + argList + "\n" + more);
}
