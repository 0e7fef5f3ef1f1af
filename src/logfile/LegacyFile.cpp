#include "logfile/LegacyFile.hpp"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "logservice/log.h"
#include "registry/LogTag.hpp"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are read as they lie in the file");

namespace {

constexpr std::size_t BUFFER_BYTES = 128UL * 1024;
/// Far above any real header (139 columns take 5 KiB), and a bound on memory when a file that is no log, or
/// whose "-- Data" line is damaged, is taken for one.
constexpr std::size_t MAX_HEADER_BYTES = 4UL * 1024 * 1024;
/// Where the search for the header gives up, so that an endless device ends it too.
constexpr std::uint64_t MAX_SEARCH_BYTES = 256UL * 1024 * 1024;
constexpr int MAX_SILENT_PREAMBLE = 6;

bool contains(const std::string& line, const char* marker) {
  return line.find(marker) != std::string::npos;
}

}  // namespace

LegacyFile::LegacyFile() : buffer(BUFFER_BYTES) {
  file.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
}

int LegacyFile::open(const std::string& logPath) {
  filePath = logPath;
  errno = 0;
  file.open(filePath, std::ios::binary);
  if (file.is_open()) return 0;
  return errno != 0 ? -errno : -EIO;
}

void LegacyFile::close() {
  file.close();
}

std::string LegacyFile::extractHeader() {
  std::string header;
  std::int64_t preambleLines = 0;
  bool started = false;
  bool tooLong = false;
  for (std::string line; !dataFound && readLine(line);) {
    started = started || contains(line, "-- Build infos");
    if (!started) {
      ++preambleLines;
      continue;
    }
    tooLong = tooLong || header.size() + line.size() >= MAX_HEADER_BYTES;
    if (!tooLong) header.append(line).push_back('\n');
    dataFound = contains(line, "-- Data");
  }
  if (!dataFound) end();

  if (file.bad()) keepReadError();
  if (!started) {
    log_print(LOG_TAG, LOG_ERR,
              "Input file %s badly formatted, missing header section \"-- Navdata infos\"",
              filePath.c_str());
  }
  if (tooLong && dataFound) {
    log_print(LOG_TAG, LOG_WARNING,
              "Input file %s has a header of more than %zu bytes, the excess is ignored", filePath.c_str(),
              MAX_HEADER_BYTES);
  }
  if (preambleLines > MAX_SILENT_PREAMBLE) {
    const auto shown = std::min<std::int64_t>(preambleLines, std::numeric_limits<int>::max());
    log_print(LOG_TAG, LOG_WARNING, "Input file %s has %d lines before its header, is it normal?",
              filePath.c_str(), static_cast<int>(shown));
  }
  return header;
}

/// Reads the next line, without its line feed; a last line that has none counts. False when nothing is
/// left. Of a line longer than any header, only as much is kept as tells that it is too long.
bool LegacyFile::readLine(std::string& line) {
  line.clear();
  errno = 0;
  const std::uint64_t start = offset;
  for (char byte = 0; offset < MAX_SEARCH_BYTES && file.get(byte);) {
    ++offset;
    if (byte == '\n') return true;
    if (line.size() < MAX_HEADER_BYTES) line.push_back(byte);
  }
  return offset > start;
}

bool LegacyFile::read(double* values, std::size_t count) {
  if (!file.good()) return false;
  if (count == 0) return true;
  errno = 0;
  file.read(reinterpret_cast<char*>(values), static_cast<std::streamsize>(count * sizeof(double)));
  offset += static_cast<std::uint64_t>(file.gcount());
  if (file.bad()) keepReadError();
  return file.good();
}

bool LegacyFile::skip(std::uint64_t count) {
  constexpr std::uint64_t most = std::numeric_limits<std::streamsize>::max() / sizeof(double);
  const auto bytes = static_cast<std::streamsize>(std::min(count, most) * sizeof(double));
  if (bytes == 0) return true;
  errno = 0;
  file.ignore(bytes);
  offset += static_cast<std::uint64_t>(file.gcount());
  if (file.bad()) keepReadError();
  return file.gcount() == bytes;
}

void LegacyFile::keepReadError() {
  error = errno != 0 ? -errno : -EIO;
  log_print(LOG_TAG, LOG_ERR, "Could not read %s : %s", filePath.c_str(), std::strerror(-error));
}
