#include "ostrelLog/LogCursor.hpp"

#include <utility>

namespace logtool {

LogCursor::LogCursor(LogSource& log, const Selection& selected, std::optional<std::string> sectionName,
                     bool numberRecords)
    : source(log), selection(selected), section(std::move(sectionName)), byRecord(numberRecords) {
  // A cursor stands on a record from the start, or at the end of a log that has nothing selected.
  next();
}

void LogCursor::next() {
  const std::int64_t before = record.index;
  do {
    present = source.next(record);
  } while (present && !wanted());
  if (!present) return;
  // Comes before the check for gaps, so numbered records never have any.
  if (byRecord) record.index = static_cast<std::int64_t>(count);
  // The first record has none before it: a log may begin at any step.
  gaps = gaps || (count > 0 && record.index - before > 1);
  ++count;
}

const RecordLayout* LogCursor::layout() const {
  // In a continuous log there is only one layout, in a blackbox log a section may have several.
  for (const auto& known : source.layouts()) {
    if (source.kind != LogKind::BLACKBOX || known->name == section) return known.get();
  }
  return nullptr;
}

bool LogCursor::wanted() {
  // Of samples, the selection takes variables, not records, so every record is wanted.
  if (source.kind == LogKind::EVENTS) return selection.has(*record.layout);
  return source.kind == LogKind::CONTINUOUS || record.layout->name == section;
}

}  // namespace logtool
