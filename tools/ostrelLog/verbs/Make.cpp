#include "ostrelLog/verbs/Make.hpp"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <iostream>
#include <string>
#include <variant>

#include "ostrelLog/Number.hpp"

namespace logtool {

namespace {

/// What is wrong with the text of a seed; empty when nothing is. The library's own message, "could not
/// convert", would not say which numbers are allowed.
std::string seedFault(const std::string& text) {
  std::uint64_t seed = 0;
  return parseNumber(text, seed) ? "" : "must be a whole number from 0 to 18446744073709551615";
}

}  // namespace

CLI::App* Make::addTo(CLI::App& program) {
  CLI::App* command = program.add_subcommand(
      "make",
      "Simulate a flight (take-off, a square, landing) and write it as a pair of legacy logs: "
      "NAME.cont with the samples of all sensors, NAME.events with the API calls. "
      "The same options give the same bytes on every machine.");
  endHelp(*command, "0 written, 1 a file could not be written, 2 wrong usage.",
          "ostrelLog make flight --seconds 30 --variant quad-x");
  command->add_option("NAME", options.name, "Path of the two logs, without their endings")->required();
  addNumber(*command, "--seconds", options.seconds, "Duration of the flight, up to 360000")->type_name("S");
  addNumber(*command, "--rate", options.rate, "Control steps a second, 1 to 10000")->type_name("HZ");
  addNumber(*command, "--seed", options.seed, "Selects the sensors' noise, from 0")
      ->type_name("N")
      ->check(CLI::Validator(seedFault, ""));
  command->add_option("--variant", options.variant, "Hardware variant that the logs' headers name")
      ->type_name("V")
      ->capture_default_str();
  command->callback([this] {
    // Checks that need several options, such as the number of steps, run when all of them are known.
    const std::string fault = optionsFault(options);
    if (!fault.empty()) throw CLI::ValidationError(fault);
  });
  return command;
}

ExitStatus Make::run() const {
  const auto result = makeFlight(options);
  if (const auto* fault = std::get_if<Fault>(&result)) {
    report(*fault);
    return ExitStatus::NOT_MADE;
  }
  const auto& made = std::get<MadeFlight>(result);
  std::cout << made.samplesFile << ": " << counted(static_cast<std::uint64_t>(made.steps), "sample")
            << " of " << made.columns << " columns, " << made.callsFile << ": "
            << counted(made.calls, "call") << "\n";
  return finishOutput() ? ExitStatus::MADE : ExitStatus::NOT_MADE;
}

}  // namespace logtool
