#include "ostrelLog/rescue/LogCopy.hpp"

#include <algorithm>
#include <cerrno>
#include <ostream>
#include <system_error>

#include "logfile/ErrorText.hpp"
#include "logfile/OutputFile.hpp"

namespace logtool {

namespace {

// What is read and written at once: a header in front of which much other text stands may be long.
constexpr std::uint64_t CHUNK_BYTES = 64UL * 1024;

/// Appends a piece of the log to the file, and counts its bytes. 0 or a negated errno.
int write(OutputFile& file, LogBytes& log, const Piece& piece, std::uint64_t& written) {
  for (std::uint64_t at = piece.begin; at < piece.end; at += CHUNK_BYTES) {
    const auto count = static_cast<std::size_t>(std::min(piece.end - at, CHUNK_BYTES));
    const unsigned char* bytes = log.at(at, count);
    if (bytes == nullptr) return log.readError();
    if (const int result = file.write(bytes, count); result < 0) return result;
    written += count;
  }
  return 0;
}

/// Whether the piece goes into the copy, which is told of it.
bool takes(LogCopy& copy, const Piece& piece, const Window& window, bool isOfEvents) {
  if (!piece.index) return true;
  const std::int64_t step = *piece.index;
  if (step >= window.from && step <= window.to) {
    copy.lowest = copy.records == 0 ? step : std::min(copy.lowest, step);
    copy.highest = copy.records == 0 ? step : std::max(copy.highest, step);
    ++copy.records;
    return true;
  }
  copy.hasEarlier = copy.hasEarlier || step < window.from;
  const bool isNext = isOfEvents && step > window.to && copy.records > 0 && !copy.behind;
  if (isNext) copy.behind = step;
  return isNext;
}

/// Why there is no record to copy.
std::string nothingKept(const Window& window, const LogEnd& end) {
  std::string reason = "no whole record";
  if (window.to != Window().to) {
    reason += " of the steps " + std::to_string(window.from) + " to " + std::to_string(window.to);
  }
  return end.state == LogEnd::WHOLE ? reason : reason + ", and the log is " + end.text();
}

std::string steps(const LogCopy& copy) {
  if (copy.records == 0) return "";
  return ", steps " + std::to_string(copy.lowest) + " to " + std::to_string(copy.highest);
}

std::string behind(std::optional<std::int64_t> step) {
  return step ? " behind step " + std::to_string(*step) : "";
}

}  // namespace

std::variant<LogCopy, Fault> copyLog(const std::string& path, const std::string& newPath,
                                     const Window& window) {
  LogBytes log;
  std::string fault = log.open(path);
  if (!fault.empty()) return Fault{path, fault};
  const std::unique_ptr<Pieces> pieces = Pieces::open(path, log, fault);
  if (!pieces) return Fault{path, fault};

  OutputFile file(newPath);
  if (const auto unopened = faultOf(file.path, file.open())) return *unopened;
  LogCopy copy;
  copy.logBytes = log.size();
  const bool isOfEvents = pieces->kind == LogKind::EVENTS;
  int result = 0;
  for (Piece piece{}; result == 0 && pieces->next(piece);) {
    if (takes(copy, piece, window, isOfEvents)) result = write(file, log, piece, copy.keptBytes);
    // Nothing is written for long where the window is far behind, and a signal must end that too.
    if (OutputFile::interruption() != 0) result = -EINTR;
  }
  if (result < 0 && log.readError() < 0) return Fault{path, errorText(log.readError())};
  if (const auto unwritten = faultOf(file.path, result)) return *unwritten;

  copy.losses = pieces->losses();
  const bool isWhole = copy.losses.end.state == LogEnd::WHOLE && !copy.losses.any();
  const bool mayBeEmpty = isOfEvents && (isWhole || copy.losses.endBehind);
  if (copy.records == 0 && !mayBeEmpty) return Fault{path, nothingKept(window, copy.losses.end)};
  const std::string closing = pieces->closing();
  copy.closed = !closing.empty();
  result = file.write(closing.data(), closing.size());
  if (result == 0) result = file.close();
  if (result == 0) result = file.keep();
  if (const auto unwritten = faultOf(file.path, result)) return *unwritten;
  return copy;
}

void writeText(std::ostream& out, const LogCopy& copy) {
  const Losses& lost = copy.losses;
  out << "  kept       " << counted(copy.records, "record") << steps(copy) << ", " << copy.keptBytes
      << " of " << counted(copy.logBytes, "byte") << "\n";
  if (lost.unusual > 0) {
    out << "  unusual    " << counted(lost.unusual, "record") << " that the header contradicts, kept as "
        << (lost.unusual == 1 ? "it is\n" : "they are\n");
  }
  if (lost.records > 0) {
    out << "  lost       " << counted(lost.records, "damaged record") << " of "
        << counted(lost.bytes, "byte") << ", the first at byte " << lost.firstByte;
    out << behind(lost.behind) << "; the sizes of the records lead to "
        << (lost.atEnd ? "the log's end\n" : "the next whole one\n");
  }
  if (lost.endBytes > 0) {
    // Of a cut log, only the record that was cut is in the file; damage may hide any number.
    out << "  lost       "
        << (lost.end.state == LogEnd::CUT ? "part of a record" : "an unknown number of records")
        << behind(lost.endBehind) << ", " << counted(lost.endBytes, "byte") << ": " << lost.end.text()
        << "\n";
  }
  if (copy.closed) {
    out << "  closed     "
        << (lost.end.state == LogEnd::CUT ? "the log had no end block, the new one has\n"
                                          : "an end block was added behind the last whole block\n");
  }
}

}  // namespace logtool
