#include "ostrelLog/verbs/Diff.hpp"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "logfile/scan/OpenLog.hpp"
#include "ostrelLog/Number.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/render/DiffText.hpp"

namespace logtool {

CLI::App* Diff::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "diff",
      "Compare two logs of any kind step by step: records by their index, calls by their step.\n"
      "Exact means that NaN equals NaN and -0.0 differs from 0.0. Against a blackbox log, values of a\n"
      "legacy log count as a replay stores them in a variable of the blackbox log's type.\n"
      "Exit status: 0 same, 1 different, 2 trouble, such as a log that is cut or damaged.");
  command->add_option("A", options.files.a, "First log")->required();
  command->add_option("B", options.files.b, "Second log")->required();
  CompareOptions& comparison = options.comparison;
  addNumber(*command, "--tolerance", comparison.tolerance,
            "Largest absolute difference that counts as none")
      ->type_name("T");
  comparison.selection.addTo(*command);
  command->add_flag("--by-record", comparison.byRecord,
                    "Line records up by their number instead of their index. A log whose index\n"
                    "has gaps and the log of its replay need this");
  command->callback([&comparison] {
    if (comparison.tolerance && !(*comparison.tolerance >= 0.0)) {  // NaN fails too
      throw CLI::ValidationError("--tolerance: must be 0 or more");
    }
  });
  return command;
}

ExitStatus Diff::run() const {
  LogPair<std::unique_ptr<LogSource>> sources;
  for (const Side side : SIDES) {
    const std::string& file = options.files[side];
    std::string reason;
    sources[side] = openLog(file, reason);
    if (!sources[side]) {
      report({file, reason});
      return ExitStatus::TROUBLE;
    }
  }
  const DiffResult result = compare({sources.a.get(), sources.b.get()}, options.comparison);
  for (const Side side : SIDES) {
    const ComparedLog& log = result.logs[side];
    if (log.end.state != LogEnd::WHOLE) report({log.file, log.end.text()});
  }
  if (result.fault) {
    report(*result.fault);
    return ExitStatus::TROUBLE;
  }
  writeText(std::cout, result);
  if (!finishOutput() || !result.whole()) return ExitStatus::TROUBLE;
  return result.same() ? ExitStatus::SAME : ExitStatus::DIFFERENT;
}

}  // namespace logtool
