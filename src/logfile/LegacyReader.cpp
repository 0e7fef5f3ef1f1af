#include "logfile/LegacyReader.hpp"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cmath>
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

LogFile::IReader* LegacyReader::create(DataRegistry& registry, LogFile::Contents contents) {
  return new LegacyReader(registry, contents);
}

LegacyReader::LegacyReader(DataRegistry& targetRegistry, LogFile::Contents kind)
    : registry(targetRegistry), contents(kind), buffer(BUFFER_BYTES) {}

LegacyReader::~LegacyReader() {
  LegacyReader::close();  // while the stream's buffer is still there
  format.reset();         // before the sample, which only refers to it
  sample.reset();
}

int LegacyReader::open(const char* logPath) {
  path = logPath;
  if (path.empty()) return -EINVAL;
  file.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  file.open(path, std::ios::binary);
  if (!file.is_open()) return -EINVAL;

  const std::string header = extractHeader();
  if (contents == LogFile::CONTENTS_CONTINUOUS) {
    format = std::make_unique<ContinuousFormat>(header);
    auto continuous = std::make_unique<LegacyContinuousSample>(*format);
    continuous->buildList(registry);
    sample = std::move(continuous);
    droneVariant = format->firstValue("ro.hardware");
  } else {
    format = std::make_unique<EventFormat>(header);
    auto events = std::make_unique<LegacyEventSample>(*format);
    events->buildList(registry);
    sample = std::move(events);
    droneVariant = format->firstValue("product");
  }
  return 0;
}

int LegacyReader::close() {
  file.close();
  return 0;
}

/// The lines from "-- Build infos" through "-- Data", each with a line feed; the file then stands at the
/// first byte of the data. Empty when there is no such section.
std::string LegacyReader::extractHeader() {
  std::string header;
  std::int64_t preambleLines = 0;
  bool started = false;
  bool ended = false;
  bool tooLong = false;
  for (std::string line; !ended && readLine(line);) {
    started = started || contains(line, "-- Build infos");
    if (!started) {
      ++preambleLines;
      continue;
    }
    tooLong = tooLong || header.size() + line.size() >= MAX_HEADER_BYTES;
    if (!tooLong) header.append(line).push_back('\n');
    ended = contains(line, "-- Data");
  }
  if (!ended) file.setstate(std::ios::eofbit);  // there is no data section

  if (file.bad()) reportReadError();
  if (!started) {
    log_print(LOG_TAG, LOG_ERR,
              "Input file %s badly formatted, missing header section \"-- Navdata infos\"", path.c_str());
  }
  if (tooLong && ended) {
    log_print(LOG_TAG, LOG_WARNING,
              "Input file %s has a header of more than %zu bytes, the excess is ignored", path.c_str(),
              MAX_HEADER_BYTES);
  }
  if (preambleLines > MAX_SILENT_PREAMBLE) {
    const auto shown = std::min<std::int64_t>(preambleLines, std::numeric_limits<int>::max());
    log_print(LOG_TAG, LOG_WARNING, "Input file %s has %d lines before its header, is it normal?",
              path.c_str(), static_cast<int>(shown));
  }
  return header;
}

/// Reads the next line, without its line feed; a last line that has none counts. False when nothing is
/// left. Of a line longer than any header, only as much is kept as tells that it is too long.
bool LegacyReader::readLine(std::string& line) {
  line.clear();
  errno = 0;
  const std::uint64_t start = position;
  for (char byte = 0; position < MAX_SEARCH_BYTES && file.get(byte);) {
    ++position;
    if (byte == '\n') return true;
    if (line.size() < MAX_HEADER_BYTES) line.push_back(byte);
  }
  return position > start;
}

/// Appends the file's next `n` values to the sample, in one read: `n`, or -1 when the file ends before the
/// last of them, and then ever after.
int LegacyReader::fillSample(unsigned long n) {
  if (!file.good()) return -1;
  if (n == 0) return 0;
  std::vector<double>& values = *sample;
  const std::size_t before = values.size();
  values.resize(before + n);
  errno = 0;
  file.read(reinterpret_cast<char*>(values.data() + before),
            static_cast<std::streamsize>(n * sizeof(double)));
  position += static_cast<std::uint64_t>(file.gcount());
  if (file.good()) return static_cast<int>(n);
  if (file.bad()) reportReadError();
  return -1;
}

/// Moves past `n` values without keeping them; false when the file ends before the last of them.
bool LegacyReader::skipValues(std::uint64_t n) {
  constexpr std::uint64_t most = std::numeric_limits<std::streamsize>::max() / sizeof(double);
  const auto bytes = static_cast<std::streamsize>(std::min(n, most) * sizeof(double));
  if (bytes == 0) return true;
  errno = 0;
  file.ignore(bytes);
  position += static_cast<std::uint64_t>(file.gcount());
  if (file.bad()) reportReadError();
  return file.gcount() == bytes;
}

int LegacyReader::popSample() {
  if (contents != LogFile::CONTENTS_CONTINUOUS) {
    log_print(LOG_TAG, LOG_ERR, "Can not pop sample from non-continuous file");
    return -EINVAL;
  }
  sample->clear();
  if (fillSample(sample->getSampleSize()) < 0) return -ENODATA;
  return sample->updateRegEntries();
}

int LegacyReader::popSample(int index, std::vector<int>& events) {
  if (contents != LogFile::CONTENTS_EVENTS) {
    log_print(LOG_TAG, LOG_ERR, "Can not pop sample from non event file");
    return -EINVAL;
  }
  events.clear();
  while (true) {
    if (!readHeaderAhead()) return -ENODATA;
    if (sample->getIndex() > index) break;
    headerAhead = false;
    if (!readArguments()) return -ENODATA;
    if (sample->getEventIndex() >= 0) events.push_back(sample->updateRegEntries());
  }
  return events.empty() ? -EAGAIN : static_cast<int>(events.size());
}

/// Reads and decodes the next record's header, unless that was done already: it is kept from call to call
/// until its event is due, so that looking ahead costs nothing.
bool LegacyReader::readHeaderAhead() {
  if (headerAhead) return true;
  recordOffset = position;
  sample->clear();
  if (fillSample(sample->getHeaderSize()) < 0) {
    if (position > recordOffset) reportDamage();
    return false;
  }
  sample->readHeader();
  headerAhead = true;
  return true;
}

/// Reads the arguments of the record whose header was decoded: those that the library has room for, however
/// many the record claims. False ends the log: the record is damaged, or the file ends inside it.
bool LegacyReader::readArguments() {
  const double recordBytes = sample->front();
  const double headerBytes = static_cast<double>(sample->getHeaderSize() * sizeof(double));
  const std::uint64_t kept = sample->getBoundSize();
  if (std::isfinite(recordBytes) && recordBytes >= headerBytes && fillSample(kept) >= 0 &&
      skipValues(sample->getSampleSize() - kept)) {
    return true;
  }
  reportDamage();
  file.setstate(std::ios::eofbit);
  return false;
}

/// Says where the event log stops making sense, unless a read error was the reason and has been reported.
void LegacyReader::reportDamage() const {
  if (file.bad()) return;
  log_print(LOG_TAG, LOG_WARNING,
            "Event file %s ends at byte %" PRIu64 " : the record there is damaged or cut short",
            path.c_str(), recordOffset);
}

void LegacyReader::reportReadError() const {
  log_print(LOG_TAG, LOG_ERR, "Could not read %s : %s", path.c_str(),
            std::strerror(errno != 0 ? errno : EIO));
}
