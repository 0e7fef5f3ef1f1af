#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/rescue/LogBytes.hpp"

namespace logtool {

/// Bytes of a log that can be trusted.
struct Piece {
  std::uint64_t begin;                ///< offset in the log
  std::uint64_t end;                  ///< offset of the byte behind it
  std::optional<std::int64_t> index;  ///< step of a record; unset for what every copy needs
};

/// What of a log can't be trusted.
struct Losses {
  std::uint64_t records = 0;              ///< damaged ones between others that can be trusted
  std::uint64_t bytes = 0;                ///< of these records
  std::uint64_t firstByte = 0;            ///< offset of the first of them
  std::optional<std::int64_t> behind;     ///< step before the first of them; unset at the log's beginning
  bool atEnd = false;                     ///< nothing comes behind the last of them
  LogEnd end;                             ///< how the log ends
  std::optional<std::int64_t> endBehind;  ///< step of the last piece
  std::uint64_t endBytes = 0;             ///< behind the last piece
  std::uint64_t unusual = 0;  ///< records that are no loss: kept, though the header contradicts them

  bool any() const { return bytes > 0 || endBytes > 0; }
};

/// Takes a log apart into pieces that a copy can be put together from, in the order of the file. What is
/// appended to the log after it was opened is left alone.
class Pieces {
 public:
  /// Null, and the reason in `fault`, when nothing can be read from the log. `log` is the file at `path`;
  /// it is borrowed.
  static std::unique_ptr<Pieces> open(const std::string& path, LogBytes& log, std::string& fault);

  explicit Pieces(LogKind logKind) : kind(logKind) {}
  Pieces(const Pieces&) = delete;
  Pieces& operator=(const Pieces&) = delete;
  virtual ~Pieces() = default;

  /// The next piece; false at the end, where losses() is complete.
  virtual bool next(Piece& piece) = 0;

  /// What a copy needs behind the last piece to be a whole log; known at the end.
  virtual std::string closing() const { return {}; }

  const Losses& losses() const { return lost; }

  const LogKind kind;

 protected:
  Losses lost;
};

}  // namespace logtool
