#pragma once

#include <memory>

#include "logfile/LegacyHeader.hpp"
#include "logfile/LegacyRecords.hpp"
#include "ostrelLog/rescue/Pieces.hpp"

namespace logtool {

/// The pieces of an event log. A damaged record is left out where one of two sizes leads to the next one:
/// the size that the record itself names, and the size that the header gives to calls of its API. A record
/// proves where it begins if its size, its API and the header agree. Nothing is searched for: the arguments
/// of a call can look like a record, too.
///
/// A record that the header contradicts is kept, as a replay takes it, if its own size leads on.
class EventPieces final : public Pieces {
 public:
  /// `log` is an event log whose header has no fault; it is borrowed.
  EventPieces(const std::string& path, LogBytes& log);

  /// The index of a call is the step at which a replay makes it: the highest one so far.
  bool next(Piece& piece) override;

 private:
  /// What stands at an offset.
  struct Found {
    enum Shape {
      ANNOUNCED,  ///< a record as the header announces it
      UNUSUAL,    ///< a record that the header contradicts
      END,        ///< the log's end
      CUT,        ///< a record as announced whose end is missing, or less than the head of one
      DAMAGED,    ///< no record
    };
    Shape shape;
    EventHead head;
    std::uint64_t end;           ///< of the record, by its own size
    std::uint64_t announcedEnd;  ///< by its API; 0 when the header does not name that
  };

  Found look(std::uint64_t offset);
  bool isProven(std::uint64_t offset);
  bool isKept(const Found& found);
  bool leadsOn(std::uint64_t offset);
  void endAt(const Found& found);

  LogBytes& bytes;
  std::unique_ptr<EventFormat> format;
  bool hasData;        ///< the header has its last line
  bool headerDamaged;  ///< and that has lost its end
  bool headerTaken = false;
  std::uint64_t offset;                 ///< of the next record; the header ends here at first
  std::optional<std::int64_t> highest;  ///< step of the pieces so far
};

}  // namespace logtool
