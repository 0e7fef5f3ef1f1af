#include "ostrelLog/verbs/Export.hpp"

#include <CLI/CLI.hpp>
#include <iostream>

#include "ostrelLog/Number.hpp"

namespace logtool {

namespace {

constexpr double LOWEST_RATE = 0.001;
constexpr double HIGHEST_RATE = 1e6;

}  // namespace

CLI::App* Export::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "export",
      "Write a log of any kind as comma-separated values, or for flight and robot viewers (MCAP). "
      "Of a log that is cut or damaged, the good part is exported.");
  endHelp(*command, "0 exported, 3 a log is cut or damaged, 1 not exported, 2 wrong usage.",
          "ostrelLog export flight.cont --format csv --only 'inputs.*' -o flight.csv");
  command->add_option("LOG", options.log, "Legacy continuous, legacy event or blackbox log")->required();
  command->add_option("--format", format, "csv or mcap")
      ->required()
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"csv", "mcap"}));
  command->add_option("-o", options.output, "File to write; mcap needs it, csv goes to standard output")
      ->type_name("FILE");
  command->add_option("--events", options.events, "Event log whose calls go with the samples (mcap)")
      ->type_name("EVENTS");
  options.selection.addTo(*command);
  command
      ->add_option("--section", options.section,
                   "Section of a blackbox log; needed if several have samples")
      ->type_name("NAME");
  addNumber(*command, "--from", options.from, "First index")->type_name("INDEX")->default_str("");
  addNumber(*command, "--to", options.to, "Last index")->type_name("INDEX")->default_str("");
  addNumber(*command, "--rate", options.rate, "Steps a second, when times are to follow the index (mcap)")
      ->type_name("HZ");
  command->add_option("--compression", compression, "none or zstd, the default (mcap)")
      ->type_name("NAME")
      ->check(CLI::IsMember({"none", "zstd"}));
  // In the callback, as most of these checks need the format too.
  command->callback([this] { checkOptions(); });
  return command;
}

void Export::checkOptions() {
  if (format == "mcap") {
    options.format = ExportOptions::MCAP;
    if (!options.output) throw CLI::ValidationError("-o: needed for mcap");
  } else if (options.events || options.rate || !compression.empty()) {
    throw CLI::ValidationError("--events, --rate, --compression: only for mcap");
  }
  checkRange(options.from, options.to);
  if (options.rate && !(*options.rate >= LOWEST_RATE && *options.rate <= HIGHEST_RATE)) {  // NaN fails too
    throw CLI::ValidationError("--rate: must be from 0.001 to 1000000");
  }
  options.compress = compression != "none";
}

ExitStatus Export::run() const {
  const auto result = exportFlight(options);
  if (const auto* fault = std::get_if<Fault>(&result)) {
    report(*fault);
    return ExitStatus::NOT_EXPORTED;
  }
  const auto& exported = std::get<ExportedFlight>(result);
  for (const Fault& flaw : exported.flaws) report(flaw);
  // Without a file, standard output has the values and nothing else.
  if (options.output) {
    std::cout << *options.output << ": " << counted(exported.samples, "sample") << ", "
              << counted(exported.calls, "call");
    if (options.format == ExportOptions::MCAP) std::cout << ", time: " << exported.time;
    std::cout << '\n';
  }
  if (!finishOutput()) return ExitStatus::NOT_EXPORTED;
  return exported.whole ? ExitStatus::EXPORTED : ExitStatus::NOT_WHOLE;
}

}  // namespace logtool
