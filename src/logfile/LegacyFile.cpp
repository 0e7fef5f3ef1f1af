#include "logfile/LegacyFile.hpp"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "logfile/LegacyLayout.hpp"

namespace {

// The stream's own buffer of a few KiB would cost a system call for every few records.
constexpr std::size_t BUFFER_BYTES = 128UL * 1024;

/// Whether a line holds a marker, anywhere: other text may stand around it.
bool contains(const std::string& line, const char* marker) {
  return line.find(marker) != std::string::npos;
}

/// Whether a line holds a byte that no text has, as a line does that runs on into records.
bool holdsBinary(const std::string& line) {
  return std::any_of(line.begin(), line.end(), [](char byte) {
    const bool isText = static_cast<unsigned char>(byte) >= ' ' || byte == '\t' || byte == '\r';
    return !isText;
  });
}

}  // namespace

LegacyFile::LegacyFile() : buffer(BUFFER_BYTES) {
  // Before the file is opened: the stream ignores a buffer that comes later.
  file.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
}

int LegacyFile::open(const std::string& logPath) {
  filePath = logPath;
  // The standard does not promise that a stream sets errno, so it is cleared first and -EIO stands in.
  errno = 0;
  file.open(filePath, std::ios::binary);
  if (file.is_open()) return 0;
  return errno != 0 ? -errno : -EIO;
}

void LegacyFile::close() {
  file.close();
}

HeaderText LegacyFile::readHeader() {
  HeaderText header;
  for (std::string line; !dataFound && readLine(line);) {
    // The marker is looked for first, because its line already belongs to the header.
    header.started = header.started || contains(line, LegacyLayout::HEADER_START);
    if (!header.started) {
      ++header.preambleLines;
      continue;
    }
    // The excess is searched all the same: whether the header has an end tells what is wrong with the file.
    header.truncated = header.truncated || header.text.size() + line.size() >= HeaderText::MAX_BYTES;
    if (!header.truncated) header.text.append(line).push_back('\n');
    dataFound = contains(line, LegacyLayout::DATA_START);
    // With its line feed damaged, the line has swallowed the records up to the next such byte. Without one,
    // the log was cut there.
    endDamaged = dataFound && (!file.good() || holdsBinary(line));
  }
  header.complete = dataFound;
  header.endDamaged = endDamaged;
  // A search that stopped at its limit did not see the end of the file, so the "-- Data" line may still
  // come.
  const bool searchEnded = !dataFound && offset >= HeaderText::MAX_SEARCH_BYTES;
  header.beyondLimit = header.started && (searchEnded || (dataFound && header.truncated));
  // Without a "-- Data" line there are no records, so the rest of the file must not be read as some.
  if (!dataFound) end();
  return header;
}

/// Reads the next line, without its line feed; a last line that has none counts. False when nothing is
/// left. Of a line longer than any header, only as much is kept as tells that it is too long.
bool LegacyFile::readLine(std::string& line) {
  line.clear();
  errno = 0;
  const std::uint64_t start = offset;
  for (char byte = 0; offset < HeaderText::MAX_SEARCH_BYTES && file.get(byte);) {
    ++offset;
    if (byte == '\n') return true;
    if (line.size() < HeaderText::MAX_BYTES) line.push_back(byte);
  }
  if (file.bad()) keepReadError();
  return offset > start;
}

bool LegacyFile::read(double* values, std::size_t count) {
  // After one failure the stream stays failed, which makes every later read fail too.
  if (!file.good()) return false;
  if (count == 0) return true;
  errno = 0;
  file.read(reinterpret_cast<char*>(values), static_cast<std::streamsize>(count * sizeof(double)));
  offset += static_cast<std::uint64_t>(file.gcount());
  if (file.bad()) keepReadError();
  return file.good();
}

bool LegacyFile::append(std::vector<double>& values, std::size_t count) {
  const std::size_t before = values.size();
  values.resize(before + count);
  return read(values.data() + before, count);
}

bool LegacyFile::skip(std::uint64_t count) {
  // The count comes from the file. Clamped, its size in bytes fits the stream's signed type; no file is
  // that long.
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
  if (error < 0) return;  // the first one is the reason of all that follow
  error = errno != 0 ? -errno : -EIO;
}
