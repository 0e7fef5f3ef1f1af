#include "ostrelLog/verbs/CopyVerb.hpp"

#include <CLI/CLI.hpp>
#include <iostream>
#include <variant>

#include "ostrelLog/Number.hpp"
#include "ostrelLog/Output.hpp"

namespace logtool {

ExitStatus CopyVerb::run() const {
  const auto result = copyLog(options.log, options.newLog, options.window);
  if (const auto* fault = std::get_if<Fault>(&result)) {
    report(*fault);
    return ExitStatus::NOT_SAVED;
  }
  const auto& copy = std::get<LogCopy>(result);
  std::cout << printable(options.newLog) << ": from " << printable(options.log) << "\n";
  writeText(std::cout, copy);
  explain(copy);
  if (!finishOutput()) {
    report({options.newLog, "was written"});
    return ExitStatus::NOT_SAVED;
  }
  return copy.losses.any() ? ExitStatus::SAVED_IN_PART : ExitStatus::SAVED;
}

void CopyVerb::addFiles(CLI::App& command) {
  command.add_option("LOG", options.log, "Legacy continuous, legacy event or blackbox log")->required();
  command.add_option("-o,--output", options.newLog, "File to write; another one than LOG")
      ->type_name("NEW")
      ->required();
  command.callback([this] { checkOptions(); });
}

void CopyVerb::checkOptions() const {
  if (options.log.empty()) throw CLI::ValidationError("LOG: must name a file");
  if (options.newLog.empty()) throw CLI::ValidationError("--output: must name a file");
  // The file is replaced only when the copy is whole, but the damaged log itself must stay in any case.
  if (isSameFile(options.log, options.newLog)) throw CLI::ValidationError("--output: is the log itself");
  checkRange(options.window.from, options.window.to);
}

}  // namespace logtool
