#include "ostrelLog/verbs/Info.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <variant>

#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/render/InfoJson.hpp"
#include "ostrelLog/render/InfoText.hpp"

namespace logtool {

namespace {

using Inspection = std::variant<LogSummary, Fault>;

/// Reads one file. A log that is cut or damaged has a summary, too: of its good part.
Inspection inspect(const std::string& file) {
  std::string reason;
  const std::unique_ptr<LogSource> source = openLog(file, reason);
  if (!source) return Fault{file, reason};
  return summarize(*source);
}

ExitStatus statusOf(const Inspection& file) {
  const auto* summary = std::get_if<LogSummary>(&file);
  if (summary == nullptr || summary->end.state == LogEnd::UNREADABLE) return ExitStatus::UNREADABLE;
  return summary->end.state == LogEnd::WHOLE ? ExitStatus::WHOLE : ExitStatus::NOT_WHOLE;
}

/// The status for several files: a file that could not be read outweighs one that is cut or damaged.
ExitStatus worseOf(ExitStatus one, ExitStatus other) {
  for (const ExitStatus bad : {ExitStatus::UNREADABLE, ExitStatus::NOT_WHOLE}) {
    if (one == bad || other == bad) return bad;
  }
  return ExitStatus::WHOLE;
}

/// Reports a file that could not be opened, or not be read to its end.
void reportUnreadable(const Inspection& file) {
  if (const auto* fault = std::get_if<Fault>(&file)) return report(*fault);
  const auto& summary = std::get<LogSummary>(file);
  if (summary.end.state == LogEnd::UNREADABLE) report({summary.file, summary.end.text()});
}

/// Prints what `--only` can name, as far as the log tells it in front of its first record and with it:
/// whoever waits for a completion can't wait for the end of a long log.
void printNames(LogSource& log) {
  Record first;
  log.next(first);
  for (const auto& layout : log.layouts()) {
    const bool isCall = log.kind == LogKind::EVENTS;
    if (isCall) std::cout << printable(layout->name) << "\n";
    for (const LogVariable& variable : layout->variables) {
      std::cout << printable(isCall ? layout->name + "." + variable.name : variable.name) << "\n";
    }
  }
}

}  // namespace

CLI::App* Info::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "info",
      "Say what logs of any kind are: variant, columns, sections or APIs, records, step indices and "
      "their gaps, and whether the end is whole or cut, and where.");
  endHelp(*command,
          "0 all whole, 3 one is cut or damaged or its end is not told, 1 one can't be read or is no log, "
          "2 wrong usage.",
          "ostrelLog info --columns flight.cont");
  command->add_option("FILE", options.files, "Legacy continuous, legacy event and blackbox logs")
      ->required();
  command->add_flag("--json", options.json, "Print an array with one object per file, for programs");
  command->add_flag("--columns", options.columns, "Name every column or variable with its type");
  command->add_flag("--names", options.names)->group("");  // not in the help
  return command;
}

ExitStatus Info::run() const {
  if (options.names) {
    std::string reason;
    for (const std::string& file : options.files) {
      if (const std::unique_ptr<LogSource> log = openLog(file, reason)) printNames(*log);
    }
    return finishOutput() ? ExitStatus::WHOLE : ExitStatus::UNREADABLE;
  }
  ExitStatus status = ExitStatus::WHOLE;
  std::vector<Inspection> inspected;
  for (const std::string& file : options.files) {
    Inspection inspection = inspect(file);
    if (const auto* summary = std::get_if<LogSummary>(&inspection); summary != nullptr && !options.json) {
      writeText(std::cout, *summary, options.columns);
    }
    reportUnreadable(inspection);
    status = worseOf(status, statusOf(inspection));
    // Text is written at once; JSON is one array, so that it waits for the last file.
    if (options.json) inspected.push_back(std::move(inspection));
  }
  if (options.json) writeJson(std::cout, inspected);
  // Lost output is as bad as a file that could not be read: the caller did not learn what it asked for.
  return finishOutput() ? status : ExitStatus::UNREADABLE;
}

}  // namespace logtool
