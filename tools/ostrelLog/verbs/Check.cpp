#include "ostrelLog/verbs/Check.hpp"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>

#include "ostrelLog/render/CheckJson.hpp"
#include "ostrelLog/render/CheckText.hpp"

namespace logtool {

CLI::App* Check::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "check",
      "Say whether two logs will replay with the flight-control library, and what would be lost: what "
      "does not bind, gaps, calls that are not made, cut or damaged ends. Nothing is replayed.");
  endHelp(*command, "0 nothing will be lost, 3 something will, 1 the replay can't run, 2 wrong usage.",
          "ostrelLog check flight.cont flight.events");
  CheckOptions& check = options.check;
  const CLI::Validator named(
      [](const std::string& text) { return text.empty() ? "must not be empty" : ""; }, "");
  command->add_option("CONTINUOUS", check.continuous, "Samples: legacy continuous or blackbox log")
      ->required();
  command->add_option("EVENTS", check.events, "Calls: legacy event log")->required();
  command
      ->add_option("--library", check.library,
                   "Directory of the flight-control library; otherwise the one that a replay finds")
      ->check(named)
      ->type_name("DIR");
  command
      ->add_option("--section", check.section,
                   "Section of a blackbox log; otherwise that of TLMB_SECTION_NAME, or navdata")
      ->check(named)
      ->type_name("NAME");
  command->add_flag("--json", options.json, "Print an object, for programs");
  return command;
}

ExitStatus Check::run() const {
  // The lines of the libraries say what the findings say, and would stand between them.
  setenv("LOG_LEVEL", "0", 1);
  const CheckResult result = check(options.check);
  if (options.json) {
    writeJson(std::cout, result);
  } else {
    writeText(std::cout, result);
  }
  // The status must not promise a verdict that could not be written.
  if (!finishOutput()) return ExitStatus::CANNOT_RUN;
  switch (result.verdict()) {
    case CheckResult::LOSSLESS: return ExitStatus::LOSSLESS;
    case CheckResult::LOSSES: return ExitStatus::LOSSES;
    default: return ExitStatus::CANNOT_RUN;
  }
}

}  // namespace logtool
