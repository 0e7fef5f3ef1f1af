#include "logfile/LegacyReader.hpp"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <utility>

#include "logfile/ErrorText.hpp"
#include "logfile/LegacyLayout.hpp"
#include "logservice/log.h"
#include "registry/LogTag.hpp"

namespace {

/// The log line of one remark on a header.
void logRemark(const HeaderRemark& remark) {
  switch (remark.kind) {
    case HeaderRemark::EVENTS_FOR_CONTINUOUS:
      log_print(LOG_TAG, LOG_ERR, "Expected continuous file but got events");
      break;
    case HeaderRemark::COUNT_DIFFERS:
      log_print(LOG_TAG, LOG_WARNING, "nentries does not match the size of titles list");
      break;
    case HeaderRemark::KEY_MISSING:
      log_print(LOG_TAG, LOG_ERR, "File doesn't have a '%s' entry", remark.key.c_str());
      break;
    case HeaderRemark::NUMBER_UNUSABLE:
      log_print(LOG_TAG, LOG_ERR, "File has a '%s' entry that is not a usable number : %s",
                remark.key.c_str(), remark.text.c_str());
      break;
    case HeaderRemark::NOT_OF_EVENTS: log_print(LOG_TAG, LOG_ERR, "Expected events file"); break;
  }
}

/// Ends the process over a header that is longer than what is read of it.
[[noreturn]] void exitBeyondLimit(const std::string& path) {
  log_print(LOG_TAG, LOG_ERR,
            "Input file %s has no \"-- Data\" line within its header's limit of %zu bytes", path.c_str(),
            HeaderText::MAX_BYTES);
  std::exit(EXIT_FAILURE);
}

/// The format, when the header has no fault; ends the process otherwise.
template <class Format>
std::unique_ptr<Format> take(ParsedHeader<Format> parsed, const HeaderText& text, const std::string& path) {
  // What seems to be missing may stand behind the limit.
  if (parsed.fault() != nullptr && text.truncated) exitBeyondLimit(path);
  for (const HeaderRemark& remark : parsed.remarks) logRemark(remark);
  if (parsed.fault() != nullptr) std::exit(EXIT_FAILURE);
  return std::move(parsed.format);
}

/// Logs the key of every header line, also of lines that a reader ignores.
void logKeys(const std::string& headerText) {
  std::istringstream lines(headerText);
  for (std::string line; std::getline(lines, line);) {
    log_print(LOG_TAG, LOG_DEBUG, "Found header entry %s", LegacyHeaderEntry(line).name.c_str());
  }
}

/// Logs the argument names of all APIs that the header counts arguments for.
void logArguments(const EventFormat& format) {
  const std::vector<std::string>& apis = format.getEntries();
  for (std::size_t i = 0; i < std::min(format.countedApis(), apis.size()); ++i) {
    log_print(LOG_TAG, LOG_DEBUG, "Event %s has arguments : ", apis[i].c_str());
    for (const std::string& argument : format.getSubEntries(static_cast<int>(i))) {
      log_print(LOG_TAG, LOG_DEBUG, "    %s", argument.c_str());
    }
  }
}

}  // namespace

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
  // Every reason gives the same result, so that the caller logs the same line for all of them.
  if (file.open(logPath) < 0) return -EINVAL;

  const HeaderText text = readHeaderText();
  // Splitting the text once more is only worth it when someone sees the lines.
  if (log_admits(LOG_TAG, LOG_DEBUG) != 0) logKeys(text.text);
  if (contents == LogFile::CONTENTS_CONTINUOUS) {
    openContinuous(text);
  } else {
    openEvents(text);
  }
  if (text.endDamaged) {
    log_print(LOG_TAG, LOG_WARNING,
              "File %s has a damaged \"%s\" line : the records behind it are lost or wrong",
              file.path().c_str(), LegacyLayout::DATA_START);
  }
  // A read error has been reported already and explains the missing line.
  if (!text.complete && file.readError() == 0) {
    log_print(LOG_TAG, LOG_WARNING, "File %s has no \"%s\" line : it holds no record", file.path().c_str(),
              LegacyLayout::DATA_START);
  }
  return 0;
}

/// Reads the header's text, and logs what is wrong with the file around it. A header that goes on behind
/// the limit ends the process.
HeaderText LegacyReader::readHeaderText() {
  HeaderText header = file.readHeader();
  if (header.beyondLimit) exitBeyondLimit(file.path());
  reportReadError();
  if (!header.started) {
    log_print(LOG_TAG, LOG_ERR, "Input file %s badly formatted, missing header section \"%s\"",
              file.path().c_str(), LegacyLayout::NAVDATA_SECTION);
  }
  if (header.preambleLines > HeaderText::MAX_SILENT_PREAMBLE) {
    // The line prints an int; a larger count shows as the largest int.
    constexpr std::uint64_t mostShown = std::numeric_limits<int>::max();
    log_print(LOG_TAG, LOG_WARNING, "Input file %s has %d lines before its header, is it normal?",
              file.path().c_str(), static_cast<int>(std::min(header.preambleLines, mostShown)));
  }
  return header;
}

void LegacyReader::openContinuous(const HeaderText& text) {
  const LegacyHeader header(text.text, text.preambleLines + 1);
  format = take(ContinuousFormat::parse(header), text, file.path());
  auto continuous = std::make_unique<LegacyContinuousSample>(*format);
  continuous->buildList(registry);
  sample = std::move(continuous);
  droneVariant = header.firstValue(LegacyLayout::HARDWARE);
}

void LegacyReader::openEvents(const HeaderText& text) {
  const LegacyHeader header(text.text, text.preambleLines + 1);
  auto eventFormat = take(EventFormat::parse(header), text, file.path());
  if (log_admits(LOG_TAG, LOG_DEBUG) != 0) logArguments(*eventFormat);
  auto events = std::make_unique<LegacyEventSample>(*eventFormat);
  events->buildList(registry);
  // The walk borrows the format, whose address stays the same when `format` takes it over below.
  records = std::make_unique<EventRecords>(file, *eventFormat);
  sample = std::move(events);
  format = std::move(eventFormat);
  droneVariant = header.firstValue(LegacyLayout::PRODUCT);
}

int LegacyReader::close() {
  file.close();
  return 0;
}

/// Appends the file's next `n` values to the sample: `n`, or -1 when the file ends before the last of them,
/// and then ever after.
int LegacyReader::fillSample(unsigned long n) {
  return file.append(*sample, n) ? static_cast<int>(n) : -1;
}

int LegacyReader::popSample() {
  if (contents != LogFile::CONTENTS_CONTINUOUS) {
    log_print(LOG_TAG, LOG_ERR, "Can not pop sample from non-continuous file");
    return -EINVAL;
  }
  const std::uint64_t start = file.position();
  sample->clear();
  if (fillSample(sample->getSampleSize()) < 0) {
    reportReadError();
    // Some bytes were read, but not a whole record. An end between two records is normal.
    if (file.readError() == 0 && file.position() > start) {
      log_print(LOG_TAG, LOG_WARNING,
                "Continuous file %s ends at byte %" PRIu64 " : the record there is damaged or cut short",
                file.path().c_str(), start);
    }
    return -ENODATA;
  }
  return sample->updateRegEntries();
}

int LegacyReader::popSample(int index, std::vector<int>& events) {
  if (contents != LogFile::CONTENTS_EVENTS) {
    log_print(LOG_TAG, LOG_ERR, "Can not pop sample from non event file");
    return -EINVAL;
  }
  events.clear();
  while (true) {
    if (!readHeadAhead()) return -ENODATA;
    // Calls recorded for steps that the continuous log leaves out are made now, with those of this step.
    if (sample->getIndex() > index) break;
    headAhead = false;
    if (!isRecord(records->readArguments(*sample, sample->getBoundSize()))) return -ENODATA;
    if (records->oddity == EventRecords::UNNAMED_API) noteMissedCall();
    // Calls of an API that the library lacks are read past.
    if (sample->getEventIndex() >= 0) events.push_back(sample->updateRegEntries());
  }
  return events.empty() ? -EAGAIN : static_cast<int>(events.size());
}

void LegacyReader::warnOfMissedCalls(std::int64_t nextStep, const std::function<bool()>& isStopped) {
  if (contents != LogFile::CONTENTS_EVENTS) return;
  while (!isStopped() && readHeadAhead()) {
    headAhead = false;
    // No argument is kept: the calls are only counted.
    if (!isRecord(records->readArguments(*sample, 0))) break;
    const bool isUnnamed = records->oddity == EventRecords::UNNAMED_API;
    if (isUnnamed || (sample->getEventIndex() >= 0 && sample->getIndex() != nextStep)) noteMissedCall();
  }
  if (missedCalls == 0 || isStopped()) return;
  log_print(LOG_TAG, LOG_WARNING,
            "Event file %s : %" PRIu64 " calls were not made, the first one of step %i",
            file.path().c_str(), missedCalls, firstMissedStep);
}

/// Counts the present call as one that is not made.
void LegacyReader::noteMissedCall() {
  if (missedCalls++ == 0) firstMissedStep = sample->getIndex();
}

/// Reads and decodes the next record's head, unless that was done already: it is kept from call to call
/// until its event is due, so that looking ahead costs nothing.
bool LegacyReader::readHeadAhead() {
  if (headAhead) return true;
  headAhead = isRecord(records->readHead(*sample));
  if (headAhead) sample->readHeader();
  return headAhead;
}

/// Whether there is a record to go on with. Says where the event log stops making sense.
bool LegacyReader::isRecord(EventRecords::State state) {
  if (EventRecords::isRecord(state)) return true;
  if (state == EventRecords::UNREADABLE) reportReadError();
  if (state == EventRecords::CUT || state == EventRecords::DAMAGED) {
    log_print(LOG_TAG, LOG_WARNING,
              "Event file %s ends at byte %" PRIu64 " : the record there is damaged or cut short",
              file.path().c_str(), records->start);
  }
  return false;
}

/// Logs the read error that ended the file, if there was one, once.
void LegacyReader::reportReadError() {
  if (file.readError() == 0 || std::exchange(readErrorTold, true)) return;
  log_print(LOG_TAG, LOG_ERR, "Could not read %s : %s", file.path().c_str(), errorText(file.readError()));
}
