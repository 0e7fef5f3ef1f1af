#include "logfile/LegacyReader.hpp"

#include <syslog.h>

#include <cerrno>
#include <cinttypes>
#include <cmath>

#include "logservice/log.h"
#include "registry/LogTag.hpp"

LogFile::IReader* LegacyReader::create(DataRegistry& registry, LogFile::Contents contents) {
  return new LegacyReader(registry, contents);
}

LegacyReader::LegacyReader(DataRegistry& targetRegistry, LogFile::Contents kind)
    : registry(targetRegistry), contents(kind) {}

LegacyReader::~LegacyReader() {
  LegacyReader::close();
  format.reset();  // before the sample, which only refers to it
  sample.reset();
}

int LegacyReader::open(const char* logPath) {
  if (file.open(logPath) < 0) return -EINVAL;

  const std::string header = file.extractHeader();
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

/// Appends the file's next `n` values to the sample: `n`, or -1 when the file ends before the last of them,
/// and then ever after.
int LegacyReader::fillSample(unsigned long n) {
  std::vector<double>& values = *sample;
  const std::size_t before = values.size();
  values.resize(before + n);
  return file.read(values.data() + before, n) ? static_cast<int>(n) : -1;
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
  recordOffset = file.position();
  sample->clear();
  if (fillSample(sample->getHeaderSize()) < 0) {
    if (file.position() > recordOffset) reportDamage();
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
      file.skip(sample->getSampleSize() - kept)) {
    return true;
  }
  reportDamage();
  file.end();
  return false;
}

/// Says where the event log stops making sense, unless a read error was the reason and has been reported.
void LegacyReader::reportDamage() const {
  if (file.readError() < 0) return;
  log_print(LOG_TAG, LOG_WARNING,
            "Event file %s ends at byte %" PRIu64 " : the record there is damaged or cut short",
            file.path().c_str(), recordOffset);
}
