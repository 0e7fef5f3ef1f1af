#include "ostrelLog/fleet/KnownRows.hpp"

#include <filesystem>
#include <fstream>

#include "ostrelLog/fleet/Digest.hpp"

namespace logtool {

namespace {

namespace fs = std::filesystem;

const std::string ROW_START = R"({"key":")";

}  // namespace

void KnownRows::add(const Json& row) {
  verdicts[row["key"]] = row["verdict"];
  for (const auto& [kind, file] : row["files"].items()) {
    if (!file.is_null() && !file["digest"].is_null()) {
      files[file["path"]] = {file["bytes"], file["changed"], file["digest"]};
    }
  }
  if (!row["kept"].is_null()) ++keptByVariable[firstVariable(row)];
}

std::string firstVariable(const Json& row) {
  return row["first"].is_null() ? "null" : row["first"]["variable"].dump();
}

void Baseline::add(const Json& row) {
  for (const Side side : SIDES) {
    const Json& object = row[keyOf(side)];
    if (object.is_null() || object["digest"].is_null()) continue;
    sides.emplace(identity(row, side), object.dump());
  }
}

std::string Baseline::identity(const Json& row, Side side) {
  const Json& options = row["options"];
  Digest digest;
  for (const auto& [kind, file] : row["files"].items())
    digest.add(file.is_null() ? "" : file["digest"].dump());
  digest.add(row["libraries"][keyOf(side)]["digest"].dump());
  digest.add(options["only"].dump());
  digest.add(options["section"].is_null() ? "" : options["section"][keyOf(side)].dump());
  digest.add(options["environment"].dump());
  return digest.hex();
}

std::optional<Fault> readRows(const std::string& path, const std::function<void(const Json&)>& take,
                              std::uint64_t& wholeBytes) {
  wholeBytes = 0;
  std::error_code failure;
  if (!fs::is_regular_file(path, failure)) {
    return Fault{path, failure ? failure.message() : "not a regular file"};
  }
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) return Fault{path, "can't be opened"};
  std::uint64_t number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (file.eof()) {
      // Without its end: the run that wrote it was killed.
      const std::string whole = line.substr(0, ROW_START.size());
      if (whole == ROW_START.substr(0, whole.size())) break;
      return Fault{path, "line " + std::to_string(number) + " is no row"};
    }
    try {
      const Json row = Json::parse(line);
      // Only what every row has is asked for; a key that is missing throws.
      static_cast<void>(row.at("verdict").get_ref<const std::string&>());
      static_cast<void>(row.at("kept"));
      take(row);
    } catch (const Json::exception&) {
      return Fault{path, "line " + std::to_string(number) + " is no row"};
    }
    wholeBytes += line.size() + 1;
  }
  if (file.bad()) return Fault{path, "can't be read"};
  return std::nullopt;
}

}  // namespace logtool
