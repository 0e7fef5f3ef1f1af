#include "ostrelLog/verbs/Recover.hpp"

#include <CLI/CLI.hpp>

namespace logtool {

CLI::App* Recover::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "recover",
      "Write the part of a cut or damaged log that can be trusted as a whole log of the same kind, and "
      "say what was kept and what was lost.");
  endHelp(*command,
          "0 nothing was lost, 3 something was, 1 nothing to save or not writable, 2 wrong usage.",
          "ostrelLog recover flight.cont -o saved.cont");
  addFiles(*command);
  return command;
}

}  // namespace logtool
