#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "telemetry/var_desc.hpp"

enum class LogKind { CONTINUOUS, EVENTS, BLACKBOX };

/// One variable of a log's records. In a record it takes elementBytes * count bytes.
struct LogVariable {
  std::string name;
  tlm_var_type type;    ///< of one element; a log may hold numbers that the enumeration has no name for
  std::uint64_t count;  ///< elements; 1 for a scalar
  std::size_t elementBytes;  ///< 0 where neither the type nor a sample tells the size of an element
};

/// What the records of one sort hold: those of a blackbox log's section, those of an API of an event log,
/// or all records of a continuous log. The values lie back to back in the order of the variables. The
/// values of legacy logs are doubles throughout.
struct RecordLayout {
  std::string name;  ///< of the section or the API; empty in a continuous log
  std::vector<LogVariable> variables;
  bool hasIndex;  ///< records name their step; those that don't are numbered from 0
};

/// One record of a log.
struct Record {
  const RecordLayout* layout;   ///< borrowed from the source
  std::int64_t index;           ///< replay step, 32 bits wide as in a replay, or the record's number
  const unsigned char* values;  ///< borrowed until the next record is read
  std::optional<timespec> time = std::nullopt;  ///< stamp of a blackbox log's sample; legacy logs have none
};

/// How a log ended.
struct LogEnd {
  enum State {
    WHOLE,
    CUT,         ///< it stops inside a record, or before the end that its format has
    DAMAGED,     ///< its content contradicts itself
    UNREADABLE,  ///< the system could not read on
    NOT_TOLD,    ///< read to the end that the telemetry library gives, which tells no cut log from a whole
                 ///< one
  };
  State state = WHOLE;
  std::optional<std::uint64_t> byte;  ///< everything before this offset is good; unset where it isn't known
  std::string reason;                 ///< of damage and of a failure to read
  std::uint64_t remainder = 0;        ///< bytes of a cut record of a continuous log, from `byte` on

  /// Whether everything that the log ever held may have been read.
  bool reached() const { return state == WHOLE || state == NOT_TOLD; }

  /// "whole", or what is wrong and where.
  std::string text() const;
};

/// Reads a log of any kind, record by record, in the memory that one record and the log's names need.
class LogSource {
 public:
  LogSource(LogKind logKind, std::string path) : kind(logKind), file(std::move(path)) {}
  LogSource(const LogSource&) = delete;
  LogSource& operator=(const LogSource&) = delete;
  virtual ~LogSource() = default;

  /// Reads the next record; false at the end, and ever after.
  bool next(Record& record);

  /// How the log ended, once next() was false.
  const LogEnd& end() const { return logEnd; }

  /// Offset of the byte behind the record that next() gave last; behind the header before the first one.
  /// Unset in event logs, and in blackbox logs where the telemetry library does not tell it.
  virtual std::optional<std::uint64_t> position() const { return std::nullopt; }

  /// How many records were unusual, by what was unusual about them. A replay takes them as they are, as far
  /// as it can; the log is no less whole for them.
  const std::map<std::string, std::uint64_t>& unusual() const { return oddities; }

  /// What the log holds: all of it from the start in a legacy log; in a blackbox log as far as it was read,
  /// with another layout for a section that changes. Layouts stay where they are.
  const std::vector<std::unique_ptr<const RecordLayout>>& layouts() const { return known; }

  const LogKind kind;
  const std::string file;
  std::string variant;  ///< the vehicle's hardware variant; empty when the log names none

 protected:
  /// Reads the next record into `record`; false at the end, after ended() where the log is not whole.
  virtual bool read(Record& record) = 0;

  void ended(LogEnd::State state, std::optional<std::uint64_t> byte, const std::string& reason = {},
             std::uint64_t remainder = 0);

  std::vector<std::unique_ptr<const RecordLayout>> known;
  std::map<std::string, std::uint64_t> oddities;

 private:
  bool finished = false;
  LogEnd logEnd;
};
