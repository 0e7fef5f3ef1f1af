#include "ostrelLog/verbs/Cut.hpp"

#include <CLI/CLI.hpp>
#include <iostream>

#include "ostrelLog/Number.hpp"

namespace logtool {

CLI::App* Cut::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "cut",
      "Write the records of some steps of a log of any kind as a whole log of the same kind. Cut the two "
      "logs of a flight with the same steps.");
  endHelp(*command,
          "0 written, 3 written from a cut or damaged log, 1 no such step or not writable, 2 wrong usage.",
          "ostrelLog cut flight.cont -o part.cont --from 400 --to 799");
  addFiles(*command);
  // No default is shown: the limits of a window without any are no steps that anyone could mean.
  addNumber(*command, "--from", options.window.from, "First step to keep")
      ->type_name("INDEX")
      ->default_str("")
      ->required();
  addNumber(*command, "--to", options.window.to, "Last step to keep")
      ->type_name("INDEX")
      ->default_str("")
      ->required();
  return command;
}

void Cut::explain(const LogCopy& copy) const {
  if (copy.behind) {
    std::cout << "  and        the next call, of step " << *copy.behind
              << ": a replay does not make calls that it reads together with the log's end\n";
  }
  if (copy.hasEarlier) {
    std::cout << "  state      that of the library at step " << options.window.from
              << " is not in the log: a replay begins with that of a start\n";
  }
}

}  // namespace logtool
