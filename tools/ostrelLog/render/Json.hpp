#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

#include "logfile/scan/LogSource.hpp"

namespace logtool {

// Keeps the keys in the order in which they are set.
using Json = nlohmann::ordered_json;

/// How a log ended.
Json endJson(const LogEnd& end);

/// Adds what is unusual about a log's calls (LogSource::unusual), where there is anything.
void addUnusual(const std::map<std::string, std::uint64_t>& unusual, Json& object);

/// Writes the value over several lines. Bytes of a damaged log that are no text become U+FFFD.
void print(std::ostream& out, const Json& value);

}  // namespace logtool
