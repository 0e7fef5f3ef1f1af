#include "ostrelLog/convert/FlightExport.hpp"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <set>
#include <utility>

#include "logfile/OutputFile.hpp"
#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/LogCursor.hpp"
#include "ostrelLog/convert/CsvWriter.hpp"
#include "ostrelLog/convert/McapWriter.hpp"
#include "ostrelLog/convert/SampleClock.hpp"
#include "ostrelLog/summary/LogSummary.hpp"

namespace logtool {

namespace {

int writeToStandardOutput(const void* bytes, std::size_t count) {
  // Not by way of std::cout, which does not tell why a write failed.
  const bool written = std::fwrite(bytes, 1, count, stdout) == count && std::fflush(stdout) == 0;
  return written ? 0 : -errno;
}

std::unique_ptr<LogSource> open(const std::string& file, std::optional<Fault>& fault) {
  std::string reason;
  auto source = openLog(file, reason);
  if (!source) fault = Fault{file, reason};
  return source;
}

constexpr std::int64_t BEHIND_ALL_STEPS = std::numeric_limits<std::int64_t>::max();

/// One log while it is exported.
struct Input {
  std::unique_ptr<LogSource> source;
  Selection selection;
  std::unique_ptr<LogCursor> cursor;
  std::size_t firstTable = 0;  ///< of its layouts; the others follow
};

/// One export while it is made.
class FlightExport {
 public:
  explicit FlightExport(const ExportOptions& exportOptions)
      : options(exportOptions), section(exportOptions.section) {}

  /// The fault that kept the flight from being exported; none when it has been.
  std::optional<Fault> run() {
    const std::vector<std::string> logs = {options.log, options.events.value_or("")};
    if (auto fault = refuseOwnInput(options.output.value_or(""), logs)) return fault;
    if (auto fault = openLogs()) return fault;
    if (auto fault = makeTables()) return fault;
    if (!options.output) return exportTo(writeToStandardOutput, "standard output");
    OutputFile file(*options.output);
    if (auto fault = faultOf(file.path, file.open())) return fault;
    const auto sink = [&file](const void* bytes, std::size_t count) { return file.write(bytes, count); };
    if (auto fault = exportTo(sink, file.path)) return fault;
    int result = file.close();
    if (result == 0) result = file.keep();
    return faultOf(file.path, result);
  }

  ExportedFlight exported;

 private:
  std::optional<Fault> openLogs() {
    std::optional<Fault> fault;
    inputs.push_back({open(options.log, fault), options.selection, nullptr, 0});
    if (fault) return fault;
    const bool hasSections = inputs.front().source->kind == LogKind::BLACKBOX;
    if (section && !hasSections) return Fault{"--section", "the log has no sections"};
    if (!section && hasSections) fault = chooseSection();
    if (fault) return fault;
    if (options.events) {
      inputs.push_back({open(*options.events, fault), {}, nullptr, 0});
      if (fault) return fault;
      if (inputs.front().source->kind == LogKind::EVENTS) {
        return Fault{options.log, "is an event log, so that --events can't add calls to it"};
      }
      if (inputs.back().source->kind != LogKind::EVENTS) return Fault{*options.events, "is no event log"};
      inputs.back().selection = options.selection.ofCalls(inputs.back().source->layouts());
    }
    for (Input& each : inputs) {
      // The section means nothing to the other kinds of logs.
      each.cursor = std::make_unique<LogCursor>(*each.source, each.selection, section, false);
      skip(*each.cursor);
    }
    return std::nullopt;
  }

  /// Finds the only section of the blackbox log that has samples.
  std::optional<Fault> chooseSection() {
    std::optional<Fault> fault;
    const auto source = open(options.log, fault);
    if (!source) return fault;
    const LogSummary summary = summarize(*source);
    const std::set<std::string> sampled = sampledSections(summary);
    if (sampled.empty() && !summary.end.reached()) return Fault{options.log, summary.end.text()};
    if (sampled.size() != 1) return notOneSection(options.log, sampled);
    section = *sampled.begin();
    return std::nullopt;
  }

  /// Decides what is exported, before anything is written.
  std::optional<Fault> makeTables() {
    bool anything = false;
    for (Input& input : inputs) {
      input.firstTable = tables.size();
      const bool ofCalls = input.source->kind == LogKind::EVENTS;
      const RecordLayout* first =
          input.cursor->present ? input.cursor->record.layout : input.cursor->layout();
      if (first == nullptr && !ofCalls) return Fault{options.log, "has no section " + section.value_or("")};
      for (const auto& layout : input.source->layouts()) {
        if (ofCalls ? !input.selection.has(*layout) : layout.get() != first) continue;
        tables.push_back(makeTable(input.source->kind, *layout, input.selection));
        anything = anything || (ofCalls ? options.selection.has(*layout) : !tables.back().columns.empty());
        for (const std::string& name : tables.back().unreadable) {
          exported.flaws.push_back({input.source->file, "not exported, of an unknown type: " + name});
        }
      }
    }
    if (!anything) return Fault{"--only", "names nothing that the log holds besides the index"};
    const Input& log = inputs.front();
    if (!log.cursor->present) {
      if (!log.source->end().reached()) return Fault{options.log, log.source->end().text()};
      return Fault{options.log,
                   log.cursor->count == 0 ? "has no samples or calls that were chosen" : "no such step"};
    }
    return std::nullopt;
  }

  std::optional<Fault> exportTo(const Sink& sink, const std::string& outputName) {
    target = outputName;
    const LogCursor& samples = *inputs.front().cursor;
    const bool areSamples = samples.source.kind != LogKind::EVENTS;
    SampleClock clock(options.rate, areSamples && samples.present ? &samples.record : nullptr);
    exported.time = clock.text();
    if (options.format == ExportOptions::CSV) {
      writer = std::make_unique<CsvWriter>(sink);
    } else {
      writer = std::make_unique<McapWriter>(sink, options.compress, exported.time);
    }
    const int begun = writer->begin(tables);
    if (begun == -EOVERFLOW) {
      return Fault{options.log,
                   "has more groups of variables than mcap has topics, 65534: choose with --only"};
    }
    if (auto fault = faultOf(target, begun)) return fault;
    if (areSamples) {
      if (auto fault = writeSamples(clock)) return fault;
    }
    if (!areSamples || options.events) {
      if (auto fault = writeCalls(BEHIND_ALL_STEPS, clock)) return fault;
    }
    if (auto fault = faultOf(target, writer->end())) return fault;
    if (options.format == ExportOptions::MCAP) judgeTimes(clock);
    return judgeEnds();
  }

  /// Writes all samples, and the calls up to the last one's step.
  std::optional<Fault> writeSamples(SampleClock& clock) {
    LogCursor& samples = *inputs.front().cursor;
    for (; samples.present; advance(samples)) {
      const std::uint64_t time = clock.ofSample(samples.record);
      // A call is made before the sample of its step.
      if (options.events) {
        if (auto fault = writeCalls(samples.record.index, clock)) return fault;
      }
      if (auto fault = write(inputs.front(), time)) return fault;
      lastSample = samples.record.index;
      ++exported.samples;
    }
    return std::nullopt;
  }

  /// Writes the calls up to the step.
  std::optional<Fault> writeCalls(std::int64_t step, SampleClock& clock) {
    LogCursor& calls = *inputs.back().cursor;
    for (; calls.present && calls.record.index <= step; advance(calls)) {
      const std::int64_t index = calls.record.index;
      if (auto fault = write(inputs.back(), clock.ofCall(calls.record))) return fault;
      ++exported.calls;
      // A recording may stop between a call and the sample of its step.
      const bool isBehind = step == BEHIND_ALL_STEPS && lastSample && index > *lastSample + 1;
      const bool isBefore = !lastSample && index < step;
      if (isBehind || isBefore) ++callsWithoutSample;
    }
    return std::nullopt;
  }

  /// Writes the record that the input's cursor stands on.
  std::optional<Fault> write(const Input& input, std::uint64_t time) {
    const Record& record = input.cursor->record;
    // Samples have one table, and there are few calls: the search costs nothing.
    for (std::size_t i = input.firstTable; i < tables.size(); ++i) {
      if (tables[i].layout == record.layout) return faultOf(target, writer->add(i, record, time));
    }
    return Fault{options.log, "section " + record.layout->name + " has other variables from index " +
                                  std::to_string(record.index) +
                                  " on: export the parts one by one, with --from and --to"};
  }

  void advance(LogCursor& cursor) const {
    cursor.next();
    skip(cursor);
  }

  /// Moves past the records that are not between `--from` and `--to`.
  void skip(LogCursor& cursor) const {
    while (cursor.present && (cursor.record.index < options.from || cursor.record.index > options.to)) {
      cursor.next();
    }
  }

  void judgeTimes(const SampleClock& clock) {
    const bool ofReplay = inputs.front().source->kind == LogKind::BLACKBOX;
    if (options.events && ofReplay && exported.calls > 0) {
      exported.flaws.push_back({options.log,
                                "a replay counts its steps without gaps: if the flight has gaps, calls "
                                "behind them come too late"});
    }
    if (clock.usesStamps() && callsWithoutSample > 0) {
      exported.flaws.push_back({*options.events,
                                "at the time of the nearest sample, since the samples begin later or end "
                                "earlier: " +
                                    counted(callsWithoutSample, "call")});
    }
    if (clock.movedTimes() > 0) {
      exported.flaws.push_back({options.log, "not as recorded, but the nearest that viewers read: " +
                                                 counted(clock.movedTimes(), "time") +
                                                 " before 1970 or after 2262"});
    }
    if (clock.unstampedSamples() > 0) {
      exported.flaws.push_back({options.log, "without a stamp, and with that of the sample before: " +
                                                 counted(clock.unstampedSamples(), "sample")});
    }
  }

  /// Notes what the inputs lack. A fault when one of them could not be read to its end.
  std::optional<Fault> judgeEnds() {
    for (const Input& input : inputs) {
      const LogSource& log = *input.source;
      if (log.end().state == LogEnd::UNREADABLE) return Fault{log.file, log.end().text()};
      for (const auto& [what, count] : log.unusual()) {
        exported.flaws.push_back({log.file, "not fully exported: " + counted(count, "call") + " " + what});
      }
      if (log.end().reached()) continue;
      exported.whole = false;
      exported.flaws.push_back({log.file, log.end().text()});
    }
    return std::nullopt;
  }

  const ExportOptions& options;
  std::optional<std::string> section;  ///< of a blackbox log
  std::vector<Input> inputs;           ///< the log, then the events where they are given
  std::vector<Table> tables;
  std::unique_ptr<FlightWriter> writer;
  std::optional<std::int64_t> lastSample;  ///< index of the last one that was written
  std::uint64_t callsWithoutSample = 0;    ///< of steps before the first sample or behind the last
  std::string target;                      ///< the output's name in faults
};

}  // namespace

std::variant<ExportedFlight, Fault> exportFlight(const ExportOptions& options) {
  FlightExport flight(options);
  if (auto fault = flight.run()) return *fault;
  return std::move(flight.exported);
}

}  // namespace logtool
