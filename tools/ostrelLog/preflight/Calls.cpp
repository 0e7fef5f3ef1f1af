#include "ostrelLog/preflight/Calls.hpp"

#include "logfile/ErrorText.hpp"
#include "logfile/LegacyLayout.hpp"

namespace logtool {

Calls::Calls(const std::string& path, const std::vector<LibraryApi>& libraryApis)
    : findings(path), library(libraryApis) {}

std::optional<Fault> Calls::open() {
  if (auto fault = log.open(LegacyLayout::PRODUCT, findings)) return fault;
  variant = log.variant;
  records = std::make_unique<EventRecords>(log.file, *log.format);
  apis = bindApis(*log.format, library);
  callsOf.resize(apis.size());
  return std::nullopt;
}

/// Finds how an API differs from the library's, which is a loss only if the log has calls of it.
void Calls::findBinding(const ApiBinding& binding, std::uint64_t calls) {
  if (binding.position < 0) {
    findings.add(calls > 0, "unknown API", calls,
                 "the library has no API " + binding.name + ": " + counted(calls, "call") + " not made",
                 {binding.name});
    return;
  }
  for (const ArgumentDifference& argument : binding.differences) {
    findings.add(calls > 0, "argument name", 1,
                 binding.name + ": argument " + std::to_string(argument.position) + " is " +
                     argument.inFile + " in the log and " + argument.inLibrary + " in the library",
                 {binding.name, argument.inFile, argument.inLibrary});
  }
  if (binding.argumentsInFile != binding.argumentsInLibrary) {
    findings.add(calls > 0, "argument count", 1,
                 binding.name + ": " + counted(binding.argumentsInFile, "argument") + " in the log and " +
                     std::to_string(binding.argumentsInLibrary) + " in the library",
                 {binding.name});
  }
}

void Calls::reach(std::int32_t step) {
  Group due, dueLate;
  while (lookAhead()) {
    if (records->head.step > step) {
      made += due.count;
      // A replay tells nothing of these calls, but makes them when other sensor values are in force.
      if (late.count == 0) late.first = dueLate.first;
      late.count += dueLate.count;
      return;
    }
    if (!take()) break;
    if (api() == nullptr || api()->position < 0) continue;
    due.add(records->head.step);
    if (records->head.step < step) dueLate.add(records->head.step);
  }
  // The log has ended in this step, and a replay drops the calls that it has read together with the end.
  if (due.count > 0) metWithEnd = due;
}

void Calls::finish(std::int64_t nextStep) {
  while (lookAhead() && take()) {
    if (api() == nullptr || api()->position < 0) continue;
    (records->head.step == nextStep ? behindEnd : unreached).add(records->head.step);
  }
  for (std::size_t id = 0; id < apis.size(); ++id) findBinding(apis[id], callsOf[id]);
  for (const auto& [oddity, count] : oddities) {
    findings.loss("unusual calls", count, counted(count, "call") + " " + EventRecords::text(oddity));
  }
  addGroup("unnamed calls", unnamed, "not made because the header does not name the API");
  addGroup("late calls", late, "made at a later step than recorded");
  addGroup("calls met with the end", metWithEnd, "not made because the log ends with that step");
  addGroup("unreached calls", unreached, "not made because no sample reaches that step");
  if (behindEnd.count > 0) {
    findings.note(
        "calls behind the end", behindEnd.count,
        counted(behindEnd.count, "call") + " of the step behind the last sample, which was not run");
  }
}

void Calls::addGroup(const char* kind, const Group& group, const std::string& what) {
  if (group.count == 0) return;
  findings.loss(
      kind, group.count,
      counted(group.count, "call") + " " + what + ", the first one of step " + std::to_string(group.first));
}

/// Whether there is a next record; its head is read at most once.
bool Calls::lookAhead() {
  headAhead = headAhead || (!ended && isRecord(records->readHead(values)));
  return headAhead;
}

/// Reads the rest of the record whose head is read. False when the log ends in it.
bool Calls::take() {
  headAhead = false;
  // No argument's value is needed.
  if (!isRecord(records->readArguments(values, 0))) return false;
  ++recorded;
  if (api() == nullptr) {
    unnamed.add(records->head.step);
    return true;
  }
  if (records->oddity != EventRecords::NONE) ++oddities[records->oddity];
  ++callsOf[static_cast<std::size_t>(records->head.eventId)];
  return true;
}

/// Whether there is a record to go on with. Finds how the log ends otherwise.
bool Calls::isRecord(EventRecords::State state) {
  if (EventRecords::isRecord(state)) return true;
  ended = true;
  if (state == EventRecords::UNREADABLE && log.file.hasData()) {
    findings.loss("unreadable", 1,
                  std::string("can't be read to its end: ") + errorText(log.file.readError()));
  } else if (state == EventRecords::CUT || state == EventRecords::DAMAGED) {
    findings.loss(
        state == EventRecords::CUT ? "cut" : "damaged", 1,
        "ends at byte " + std::to_string(records->start) + ": the record there is damaged or cut short");
  }
  return false;
}

/// The API that the record names; null when the log has none of this event id.
const ApiBinding* Calls::api() const {
  const std::int32_t id = records->head.eventId;
  return id >= 0 && static_cast<std::size_t>(id) < apis.size() ? &apis[static_cast<std::size_t>(id)]
                                                               : nullptr;
}

}  // namespace logtool
