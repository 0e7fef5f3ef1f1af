#include "ostrelLog/verbs/Diff.hpp"

#include <CLI/CLI.hpp>
#include <iostream>

#include "ostrelLog/Output.hpp"
#include "ostrelLog/render/DiffJson.hpp"
#include "ostrelLog/render/DiffText.hpp"

namespace logtool {

CLI::App* Diff::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "diff",
      "Compare two logs of any kind step by step: records by their index, calls by their step. "
      "NaN equals NaN, and -0.0 differs from 0.0. Against a blackbox log, values of a legacy log count as "
      "a replay stores them.");
  endHelp(*command,
          "0 same, 1 different, 2 trouble, such as a log that is cut or damaged, nothing in common that "
          "could be compared, or wrong usage.",
          "ostrelLog diff before.tlmb after.tlmb --only 'outputs.*'");
  command->add_option("A", options.files.a, "First log")->required();
  command->add_option("B", options.files.b, "Second log")->required();
  options.comparison.addTo(*command);
  options.comparison.addByRecord(*command);
  command->add_flag("--json", options.json, "Print an object, for programs");
  return command;
}

ExitStatus Diff::run() const {
  const DiffResult result = compare(options.files, options.comparison);
  // What qualifies the answer goes to standard error, so that standard output holds the answer alone.
  for (const Side side : SIDES) {
    const auto& end = result.ends[side];
    if (end && end->state != LogEnd::WHOLE) report({result.files[side], end->text()});
    for (const auto& [what, count] : result.unusual[side]) {
      report({result.files[side], "not fully compared: " + counted(count, "call") + " " + what});
    }
  }
  const std::optional<Fault> fault = result.trouble();
  if (fault) report(*fault);
  // Text without a comparison behind it would read like an answer, above all the word "same". JSON has a
  // key for the trouble.
  if (options.json) {
    writeJson(std::cout, result);
  } else if (!result.fault && !(fault && result.same())) {
    writeText(std::cout, result);
  }
  // The status must not promise an answer that could not be written.
  if (!finishOutput()) return ExitStatus::TROUBLE;
  switch (result.answer()) {
    case DiffResult::SAME: return ExitStatus::SAME;
    case DiffResult::DIFFERENT: return ExitStatus::DIFFERENT;
    default: return ExitStatus::TROUBLE;
  }
}

}  // namespace logtool
