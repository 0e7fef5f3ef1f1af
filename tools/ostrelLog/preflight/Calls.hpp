#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "logfile/Binding.hpp"
#include "logfile/LegacyRecords.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/preflight/Finding.hpp"
#include "ostrelLog/preflight/LegacyLog.hpp"

namespace logtool {

/// Reads an event log in step with the samples, as a replay does, and finds what a replay loses of its
/// calls. No call is made.
class Calls {
 public:
  /// `library` is what the flight-control library offers; it outlives this object.
  Calls(const std::string& path, const std::vector<LibraryApi>& library);

  /// Opens the log; a fault when a replay would refuse it.
  std::optional<Fault> open();

  /// A replay runs this step, and makes the calls that are due.
  void reach(std::int32_t step);

  /// The replay has ended; `nextStep` is the step right behind the last one. Completes the findings.
  void finish(std::int64_t nextStep);

  Findings findings;
  std::string variant;         ///< the hardware variant; empty when the log names none
  std::uint64_t recorded = 0;  ///< calls in the log
  std::uint64_t made = 0;      ///< those that a replay makes

 private:
  /// Some of the calls: their number and the step of the first one.
  struct Group {
    void add(std::int32_t step) {
      if (count++ == 0) first = step;
    }
    std::uint64_t count = 0;
    std::int32_t first = 0;
  };

  bool lookAhead();
  bool take();
  bool isRecord(EventRecords::State state);
  const ApiBinding* api() const;
  void findBinding(const ApiBinding& binding, std::uint64_t calls);
  void addGroup(const char* kind, const Group& group, const std::string& what);

  const std::vector<LibraryApi>& library;
  LegacyLog<EventFormat> log;
  std::unique_ptr<EventRecords> records;
  std::vector<double> values;  ///< of the record's head
  bool headAhead = false;      ///< the head of the next record is read
  bool ended = false;
  std::vector<ApiBinding> apis;        ///< by event id
  std::vector<std::uint64_t> callsOf;  ///< by event id
  Group late, metWithEnd, unreached, unnamed, behindEnd;
  std::map<EventRecords::Oddity, std::uint64_t> oddities;
};

}  // namespace logtool
