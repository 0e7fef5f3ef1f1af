#include "ostrelLog/rescue/Pieces.hpp"

#include <utility>

#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/rescue/EventPieces.hpp"

namespace logtool {

namespace {

/// What stands in a blackbox log in front of a sample's values: the head of its block and its time.
constexpr std::uint64_t SAMPLE_HEAD_BYTES = 20 + 16;

/// The block that ends a blackbox log. It has no section and no payload, so it is always the same: its
/// kind, 12 bytes of 0, and the checksum of these 16 bytes.
constexpr char END_BLOCK[] = "\6\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xB1\x22\x2A\xBF";

/// The pieces of a continuous log or a blackbox log: all that its source reads.
class SourcePieces final : public Pieces {
 public:
  SourcePieces(std::unique_ptr<LogSource> opened, std::uint64_t fileBytes)
      : Pieces(opened->kind), log(std::move(opened)), logBytes(fileBytes) {}

  bool next(Piece& piece) override {
    if (pending) {
      piece = *std::exchange(pending, std::nullopt);
      return true;
    }
    Record record{};
    const bool isRecord = log->next(record) && *log->position() <= logBytes;
    std::uint64_t recordStart = 0;
    if (isRecord) {
      const std::uint64_t end = *log->position();
      recordStart = end - bytesOf(*record.layout);
      lastStep = indexOf(record);
      pending = Piece{recordStart, end, lastStep};
    } else {
      lost.end = endOfLog();
      recordStart = lost.end.state == LogEnd::WHOLE ? logBytes : lost.end.byte.value_or(taken);
      lost.endBytes = logBytes - recordStart;
      lost.endBehind = lastStep;
    }
    // What stands in front of the record: a header, or blocks that describe sections.
    piece = {std::exchange(taken, isRecord ? pending->end : recordStart), recordStart, std::nullopt};
    return isRecord || piece.end > piece.begin;
  }

  std::string closing() const override {
    const bool isOpen = kind == LogKind::BLACKBOX && lost.end.state != LogEnd::WHOLE;
    return isOpen ? std::string(END_BLOCK, sizeof END_BLOCK - 1) : std::string();
  }

 private:
  std::uint64_t bytesOf(const RecordLayout& layout) const {
    std::uint64_t bytes = kind == LogKind::BLACKBOX ? SAMPLE_HEAD_BYTES : 0;
    for (const LogVariable& variable : layout.variables) {
      bytes += variable.elementBytes * variable.count;
    }
    return bytes;
  }

  /// A sample of a section without an index belongs to the step of the last sample that has one. Without
  /// any such sample in front of it, its number counts.
  std::int64_t indexOf(const Record& record) {
    if (record.layout->hasIndex) lastIndex = record.index;
    return lastIndex.value_or(record.index);
  }

  /// How the log ends, once the source has ended or has read on into what was appended to the log.
  LogEnd endOfLog() const {
    if (*log->position() <= logBytes) return log->end();
    const bool isWhole = kind == LogKind::CONTINUOUS && taken == logBytes;
    return {isWhole ? LogEnd::WHOLE : LogEnd::CUT, taken, {}, logBytes - taken};
  }

  const std::unique_ptr<LogSource> log;
  const std::uint64_t logBytes;
  std::uint64_t taken = 0;                ///< offset behind the last piece
  std::optional<Piece> pending;           ///< the record that comes next
  std::optional<std::int64_t> lastIndex;  ///< of the samples that have one
  std::optional<std::int64_t> lastStep;   ///< of all of them
};

}  // namespace

std::unique_ptr<Pieces> Pieces::open(const std::string& path, LogBytes& log, std::string& fault) {
  std::unique_ptr<LogSource> source = openLog(path, fault);
  if (!source) return nullptr;
  if (source->kind == LogKind::EVENTS) return std::make_unique<EventPieces>(path, log);
  if (!source->position()) {
    fault = "the telemetry library does not tell where the blocks of a blackbox log end";
    return nullptr;
  }
  return std::make_unique<SourcePieces>(std::move(source), log.size());
}

}  // namespace logtool
