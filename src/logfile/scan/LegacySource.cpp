#include "logfile/scan/LegacySource.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "logfile/ErrorText.hpp"
#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyHeader.hpp"
#include "logfile/LegacyLayout.hpp"
#include "logfile/LegacyRecords.hpp"
#include "registry/Conversion.hpp"

namespace {

/// Describes variables of these names: all values of a legacy log are doubles.
std::vector<LogVariable> doubles(const std::vector<std::string>& names) {
  std::vector<LogVariable> variables;
  variables.reserve(names.size());
  for (const std::string& name : names) variables.push_back({name, TLM_VAR_DOUBLE, 1, sizeof(double)});
  return variables;
}

const char* const DATA_LINE_DAMAGED = "its \"-- Data\" line has lost its end";

/// The records of a continuous log. All have the same layout.
class ContinuousSource final : public LogSource {
 public:
  ContinuousSource(std::unique_ptr<LegacyFile> opened, std::unique_ptr<ContinuousFormat> format)
      : LogSource(LogKind::CONTINUOUS, opened->path()), bytes(std::move(opened)) {
    const std::vector<std::string>& titles = format->getEntries();
    // Of columns with one name, a replay stores the last one over the others.
    for (std::size_t i = 0; i < titles.size(); ++i) {
      if (titles[i] == "index") indexColumn = i;
    }
    known.push_back(
        std::make_unique<RecordLayout>(RecordLayout{"", doubles(titles), indexColumn.has_value()}));
    values.resize(titles.size());
  }

  std::optional<std::uint64_t> position() const override { return bytes->position(); }

 private:
  bool read(Record& record) override {
    const std::uint64_t start = bytes->position();
    if (bytes->isEndDamaged()) {
      ended(LogEnd::DAMAGED, start, DATA_LINE_DAMAGED);
      return false;
    }
    // An end between two records is a whole log, unless the header had no "-- Data" line.
    if (!bytes->read(values.data(), values.size())) {
      if (bytes->readError() < 0) {
        ended(LogEnd::UNREADABLE, start, errorText(bytes->readError()));
      } else if (bytes->position() > start || !bytes->hasData()) {
        ended(LogEnd::CUT, start, {}, bytes->position() - start);
      }
      return false;
    }
    const std::int64_t index = indexColumn ? fieldFromRecord<std::int32_t>(values[*indexColumn]) : number++;
    record = {known.front().get(), index, reinterpret_cast<const unsigned char*>(values.data())};
    return true;
  }

  const std::unique_ptr<LegacyFile> bytes;
  std::vector<double> values;
  std::optional<std::size_t> indexColumn;
  std::int64_t number = 0;  ///< of the next record, in a log without an index
};

/// The records of an event log: one layout for each API, at the position of its event id.
class EventSource final : public LogSource {
 public:
  EventSource(std::unique_ptr<LegacyFile> opened, std::unique_ptr<EventFormat> eventFormat)
      : LogSource(LogKind::EVENTS, opened->path()),
        bytes(std::move(opened)),
        format(std::move(eventFormat)),
        records(*bytes, *format) {
    const std::vector<std::string>& titles = format->getEntries();
    for (std::size_t id = 0; id < titles.size(); ++id) {
      known.push_back(std::make_unique<RecordLayout>(
          RecordLayout{titles[id], doubles(format->getSubEntries(static_cast<int>(id))), true}));
    }
  }

 private:
  bool read(Record& record) override {
    while (readRecord()) {
      if (records.oddity != EventRecords::NONE) ++oddities[EventRecords::text(records.oddity)];
      if (records.oddity == EventRecords::UNNAMED_API) continue;  // nothing says what its values are
      // An argument that the record does not have is no number: a replay leaves the one before in force.
      const RecordLayout* layout = known[static_cast<std::size_t>(records.head.eventId)].get();
      values.resize(LegacyLayout::EVENT_HEAD_VALUES + layout->variables.size(),
                    std::numeric_limits<double>::quiet_NaN());
      record = {layout, records.head.step,
                reinterpret_cast<const unsigned char*>(values.data() + LegacyLayout::EVENT_HEAD_VALUES)};
      return true;
    }
    return false;
  }

  /// Reads the next record; false at the end, after ended() where the log is not whole.
  bool readRecord() {
    if (bytes->isEndDamaged()) {
      ended(LogEnd::DAMAGED, bytes->position(), DATA_LINE_DAMAGED);
      return false;
    }
    EventRecords::State state = records.readHead(values);
    if (EventRecords::isRecord(state)) {
      state = records.readArguments(values, format->getSubEntries(records.head.eventId).size());
    }
    if (EventRecords::isRecord(state)) return true;
    switch (state) {
      case EventRecords::CUT: ended(LogEnd::CUT, records.start); break;
      case EventRecords::DAMAGED:
        ended(LogEnd::DAMAGED, records.start, "a record of impossible size");
        break;
      case EventRecords::UNREADABLE:
        ended(LogEnd::UNREADABLE, records.start, errorText(bytes->readError()));
        break;
      default:
        // Without its "-- Data" line the log was cut inside the header.
        if (!bytes->hasData()) ended(LogEnd::CUT, records.start);
    }
    return false;
  }

  const std::unique_ptr<LegacyFile> bytes;
  const std::unique_ptr<EventFormat> format;
  EventRecords records;
  std::vector<double> values;  ///< the head's, then one per argument that the header names
};

/// The source, when the header has no fault; null and the fault otherwise.
template <class Source, class Format>
std::unique_ptr<LogSource> makeSource(std::unique_ptr<LegacyFile> bytes, ParsedHeader<Format> parsed,
                                      std::string& fault) {
  if (parsed.fault() != nullptr) {
    fault = parsed.fault()->faultText();
    return nullptr;
  }
  return std::make_unique<Source>(std::move(bytes), std::move(parsed.format));
}

}  // namespace

std::unique_ptr<LogSource> openLegacy(const std::string& path, std::string& fault) {
  auto bytes = std::make_unique<LegacyFile>();
  if (const int result = bytes->open(path); result < 0) {
    fault = errorText(result);
    return nullptr;
  }
  // The header itself says which of the two kinds the log is, so it is parsed before a source is made.
  const HeaderText text = bytes->readHeader();
  const std::string beyondLimit = "its header has no \"-- Data\" line within the limit of " +
                                  std::to_string(HeaderText::MAX_BYTES) + " bytes";
  if (bytes->readError() < 0) {
    fault = errorText(bytes->readError());
  } else if (text.beyondLimit) {
    fault = beyondLimit;
  } else if (!text.started) {
    fault = "no flight log: neither the start of a blackbox log nor a legacy header";
  }
  if (!fault.empty()) return nullptr;

  const LegacyHeader header(text.text, text.preambleLines + 1);
  std::unique_ptr<LogSource> source;
  if (header.isOfEvents()) {
    source = makeSource<EventSource>(std::move(bytes), EventFormat::parse(header), fault);
    if (source) source->variant = header.firstValue(LegacyLayout::PRODUCT);
  } else {
    source = makeSource<ContinuousSource>(std::move(bytes), ContinuousFormat::parse(header), fault);
    if (source) source->variant = header.firstValue(LegacyLayout::HARDWARE);
  }
  if (!source && text.truncated) fault = beyondLimit;  // what seems to be missing may stand behind it
  return source;
}
