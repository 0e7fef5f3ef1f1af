#include "logfile/scan/LogSource.hpp"

std::string LogEnd::text() const {
  // In the order of State.
  static constexpr const char* WORDS[] = {"whole", "cut short", "damaged", "unreadable", "not told"};
  std::string line = WORDS[state];
  // Damage begins at the byte; a cut log is good up to there.
  if (byte) line += (state == DAMAGED ? " at byte " : " after byte ") + std::to_string(*byte);
  if (!reason.empty()) line += ": " + reason;
  return line;
}

bool LogSource::next(Record& record) {
  // Once a log has ended it stays ended, whatever a source would answer.
  finished = finished || !read(record);
  return !finished;
}

void LogSource::ended(LogEnd::State state, std::optional<std::uint64_t> byte, const std::string& reason,
                      std::uint64_t remainder) {
  logEnd = {state, byte, reason, remainder};
}
