#include "ostrelLog/rescue/EventPieces.hpp"

#include <algorithm>
#include <array>
#include <cstring>

#include "logfile/ErrorText.hpp"
#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyLayout.hpp"

namespace logtool {

namespace {

constexpr std::uint64_t HEAD_BYTES = LegacyLayout::EVENT_HEAD_VALUES * sizeof(double);
constexpr int MOST_STEPS_AHEAD = 64;

}  // namespace

EventPieces::EventPieces(const std::string& path, LogBytes& log) : Pieces(LogKind::EVENTS), bytes(log) {
  LegacyFile file;
  file.open(path);
  const HeaderText text = file.readHeader();
  format = EventFormat::parse(LegacyHeader(text.text)).format;
  // The log may have grown since `log` was opened.
  hasData = file.hasData() && file.position() <= log.size();
  headerDamaged = file.isEndDamaged();
  offset = std::min(file.position(), log.size());
}

bool EventPieces::next(Piece& piece) {
  if (!headerTaken) {
    headerTaken = true;
    piece = {0, offset, std::nullopt};
    return true;
  }
  // Behind a header without its end, nothing tells where the first record begins.
  Found found = hasData && !headerDamaged ? look(offset) : Found{Found::END, {}, 0, 0};
  while (found.shape != Found::ANNOUNCED && !isKept(found)) {
    if (!isProven(found.announcedEnd)) {
      endAt(found);
      return false;
    }
    if (lost.records++ == 0) {
      lost.firstByte = offset;
      lost.behind = highest;
    }
    lost.bytes += found.announcedEnd - offset;
    offset = found.announcedEnd;
    found = look(offset);
    lost.atEnd = found.shape == Found::END;
  }
  if (found.shape == Found::UNUSUAL) ++lost.unusual;
  highest = std::max<std::int64_t>(highest.value_or(found.head.step), found.head.step);
  piece = {offset, found.end, highest};
  offset = found.end;
  return true;
}

EventPieces::Found EventPieces::look(std::uint64_t at) {
  const std::uint64_t left = bytes.size() - at;
  const unsigned char* head = bytes.at(at, HEAD_BYTES);
  if (head == nullptr) return {left == 0 ? Found::END : Found::CUT, {}, 0, 0};
  std::array<double, LegacyLayout::EVENT_HEAD_VALUES> values;
  std::memcpy(values.data(), head, sizeof values);

  Found found{Found::DAMAGED, EventHead(values.data()), 0, 0};
  const EventRecords::Oddity oddity = EventRecords::judge(found.head, values.data(), *format);
  if (oddity != EventRecords::UNNAMED_API) {
    const std::size_t arguments = format->getSubEntries(found.head.eventId).size();
    found.announcedEnd = at + HEAD_BYTES + arguments * sizeof(double);
  }
  if (!EventRecords::isPossibleSize(values[LegacyLayout::RECORD_BYTES])) return found;
  // Compared in values, since a damaged size in bytes may not fit into an offset.
  if (found.head.argumentCount <= (left - HEAD_BYTES) / sizeof(double)) {
    found.end = at + HEAD_BYTES + found.head.argumentCount * sizeof(double);
    found.shape = oddity == EventRecords::NONE ? Found::ANNOUNCED : Found::UNUSUAL;
  } else if (oddity == EventRecords::NONE) {
    found.shape = Found::CUT;
  }
  return found;
}

/// Whether a record as the header announces it begins at `at`, or the log ends there.
bool EventPieces::isProven(std::uint64_t at) {
  if (at == 0 || at > bytes.size()) return false;
  const Found::Shape shape = look(at).shape;
  return shape == Found::ANNOUNCED || shape == Found::END;
}

/// Whether a record that the header contradicts has the size that it names.
bool EventPieces::isKept(const Found& found) {
  if (found.shape != Found::UNUSUAL) return false;
  // Where both sizes lead to a record the shorter one counts: the longer one would swallow a whole record.
  if (found.end <= found.announcedEnd && isProven(found.end)) return true;
  return !isProven(found.announcedEnd) && leadsOn(found.end);
}

/// Whether sizes lead from `at` to a record as announced or to the log's end, even if that is cut; or
/// through so many records that it can't be by chance.
bool EventPieces::leadsOn(std::uint64_t at) {
  Found found = look(at);
  // Bounded, since this is asked for each record of a log whose header contradicts all of them.
  for (int steps = 0; found.shape == Found::UNUSUAL && steps < MOST_STEPS_AHEAD; ++steps) {
    found = look(found.end);
  }
  return found.shape != Found::DAMAGED;
}

/// Ends the pieces at `offset`, where nothing more can be trusted.
void EventPieces::endAt(const Found& found) {
  lost.endBytes = bytes.size() - offset;
  lost.endBehind = highest;
  if (bytes.readError() < 0) {
    lost.end = {LogEnd::UNREADABLE, offset, errorText(bytes.readError()), 0};
  } else if (found.shape == Found::CUT || !hasData) {
    lost.end = {LogEnd::CUT, offset, {}, 0};
  } else if (headerDamaged) {
    lost.end = {LogEnd::DAMAGED, offset, "the last line of its header", 0};
  } else if (found.shape != Found::END) {
    lost.end = {LogEnd::DAMAGED, offset, "the record sizes do not lead on", 0};
  }
}

}  // namespace logtool
