#include "ostrelLog/report/RowFiles.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "logfile/ErrorText.hpp"

namespace logtool {

namespace {

namespace fs = std::filesystem;

/// Takes the row's key, and stops the parser behind it.
class KeyFinder : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool start_array(std::size_t) override { return true; }
  bool end_array() override { return true; }
  bool start_object(std::size_t) override { return ++depth > 0; }
  bool end_object() override { return --depth >= 0; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }
  bool key(string_t& name) override {
    isKey = depth == 1 && name == "key";
    return true;
  }
  bool string(string_t& value) override {
    if (!isKey) return true;
    found = std::move(value);
    return false;
  }

  std::string found;

 private:
  int depth = 0;
  bool isKey = false;
};

std::string keyOf(const std::string& line) {
  KeyFinder finder;
  // The parser hands the text over as it is: a row that breaks off later is found by whoever reads all of
  // it.
  nlohmann::json::sax_parse(line, &finder, nlohmann::json::input_format_t::json, false);
  return finder.found;
}

/// Reads a file line by line. What is longer than a row can be is taken as an empty line, so that a file of
/// another kind does not fill the memory.
class LineReader {
 public:
  explicit LineReader(const std::string& path) : in(path), buffer(1 << 20) {}

  /// Reads the next line that ends with a line break. False at the end of the file and after a fault.
  bool next() {
    in.getline(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    if (in.bad() || in.eof()) return false;
    bytes = static_cast<std::uint64_t>(in.gcount());
    if (in.good()) return true;
    if (in.gcount() == 0) return false;
    in.clear();
    in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    bytes += static_cast<std::uint64_t>(in.gcount());
    buffer[0] = 0;
    return !in.eof();
  }
  const char* line() const { return buffer.data(); }

  std::ifstream in;
  std::uint64_t bytes = 0;  ///< of the line, with its break

 private:
  std::vector<char> buffer;
};

/// The files of a folder, at any depth, in the order of their paths.
std::vector<std::string> rowFilesBelow(const std::string& folder, std::error_code& error) {
  std::vector<std::string> found;
  fs::recursive_directory_iterator entry(folder, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    if (entry->path().extension() == ".jsonl" && entry->is_regular_file(error))
      found.push_back(entry->path().string());
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace

RowFiles::RowFiles(const std::vector<std::string>& paths, const std::function<void(const Fault&)>& fault) {
  for (const std::string& path : paths) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      files.push_back({path});
      continue;
    }
    for (std::string& file : rowFilesBelow(path, error)) files.push_back({std::move(file)});
    if (error) fault({path, error.message()});
  }

  // The hash of each row's key, and the number of its line.
  std::vector<std::pair<std::uint64_t, std::uint64_t>> keys;
  std::uint64_t total = 0;
  for (File& file : files) {
    LineReader reader(file.path);
    if (!reader.in) fault({file.path, errorText(-errno)});
    for (std::uint64_t number = 1; reader.next(); ++number, ++total) {
      file.bytes += reader.bytes;
      const std::string key = keyOf(reader.line());
      if (!key.empty()) keys.emplace_back(std::hash<std::string>()(key), total);
      if (key.empty()) fault({Place{file.path, number}.text(), "no row"});
    }
    if (reader.in.bad()) fault({file.path, errorText(-EIO)});
  }

  counts.resize(total);
  std::sort(keys.begin(), keys.end());
  for (std::size_t at = 0; at < keys.size(); ++at) {
    const bool last = at + 1 == keys.size() || keys[at + 1].first != keys[at].first;
    if (last) counts[keys[at].second] = true;
  }
}

std::vector<std::string> RowFiles::paths() const {
  std::vector<std::string> all;
  for (const File& file : files) all.push_back(file.path);
  return all;
}

void RowFiles::forEach(const std::function<void(const std::string& line, const Place& place)>& take) const {
  std::uint64_t total = 0;
  for (const File& file : files) {
    LineReader reader(file.path);
    std::uint64_t bytes = 0;
    for (std::uint64_t number = 1; bytes < file.bytes && reader.next(); ++number, ++total) {
      bytes += reader.bytes;
      if (counts[total]) take(reader.line(), {file.path, number});
    }
  }
}

}  // namespace logtool
