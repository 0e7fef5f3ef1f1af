#include "ostrelLog/LogCursor.hpp"

#include <utility>

namespace logtool {

LogCursor::LogCursor(LogSource& log, const Selection& selected, std::optional<std::string> sectionName,
                     bool numberRecords)
    : source(log), selection(selected), section(std::move(sectionName)), byRecord(numberRecords) {
  next();
}

void LogCursor::next() {
  const std::int64_t before = record.index;
  do {
    present = source.next(record);
  } while (present && !wanted());
  if (!present) return;
  if (byRecord) record.index = static_cast<std::int64_t>(count);
  gaps = gaps || (count > 0 && record.index - before > 1);
  ++count;
}

const RecordLayout* LogCursor::layout() const {
  for (const auto& known : source.layouts()) {
    if (source.kind != LogKind::BLACKBOX || known->name == section) return known.get();
  }
  return nullptr;
}

bool LogCursor::wanted() {
  if (source.kind == LogKind::EVENTS) return selection.has(*record.layout);
  return source.kind == LogKind::CONTINUOUS || record.layout->name == section;
}

}  // namespace logtool
