#include "ostrelLog/LogCursor.hpp"

#include <fnmatch.h>

#include <algorithm>
#include <utility>

bool Selection::has(const std::string& name) const {
  return patterns.empty() || std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
           return pattern == name || fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
         });
}

bool Selection::has(const RecordLayout& api, const telemetry::VarDesc& argument) const {
  return has(api.name) || has(api.name + "." + argument.name);
}

bool Selection::has(const RecordLayout& api) const {
  return has(api.name) ||
         std::any_of(api.variables.begin(), api.variables.end(),
                     [&](const telemetry::VarDesc& argument) { return has(api, argument); });
}

LogCursor::LogCursor(LogSource& log, CursorOptions cursorOptions, const Selection& selected)
    : source(log), options(std::move(cursorOptions)), selection(selected) {
  next();
}

void LogCursor::next() {
  do {
    present = source.next(record);
  } while (present && !wanted());
  if (!present) return;
  if (options.byRecord) record.index = static_cast<std::int64_t>(count);
  ++count;
}

const RecordLayout* LogCursor::layout() const {
  for (const auto& known : source.layouts()) {
    if (source.kind != LogKind::BLACKBOX || options.section.empty() || known->name == options.section) {
      return known.get();
    }
  }
  return nullptr;
}

bool LogCursor::wanted() {
  if (source.kind == LogKind::EVENTS) return selection.has(*record.layout);
  if (source.kind == LogKind::CONTINUOUS) return true;
  if (options.section.empty()) options.section = record.layout->name;
  return record.layout->name == options.section;
}
