#include "ostrelLog/LogCursor.hpp"

namespace logtool {

LogCursor::LogCursor(LogSource& log, const Selection& selected, bool numberRecords)
    : source(log), selection(selected), section(selected.section), byRecord(numberRecords) {
  next();
}

void LogCursor::next() {
  do {
    present = source.next(record);
  } while (present && !wanted());
  if (!present) return;
  if (byRecord) record.index = static_cast<std::int64_t>(count);
  ++count;
}

const RecordLayout* LogCursor::layout() const {
  for (const auto& known : source.layouts()) {
    if (source.kind != LogKind::BLACKBOX || section.empty() || known->name == section) return known.get();
  }
  return nullptr;
}

bool LogCursor::wanted() {
  if (source.kind == LogKind::EVENTS) return selection.has(*record.layout);
  if (source.kind == LogKind::CONTINUOUS) return true;
  // Without a named section, the one of the first sample is the one for the whole log.
  if (section.empty()) section = record.layout->name;
  return record.layout->name == section;
}

}  // namespace logtool
