#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <system_error>

#include "ostrelLog/verbs/Diff.hpp"
#include "ostrelLog/verbs/Info.hpp"
#include "ostrelLog/verbs/Make.hpp"

namespace {

constexpr int EXIT_USAGE = 2;

/// What is wrong with a seed's text. The option's own conversion lets numbers below 0 wrap and cuts those
/// above the largest.
std::string seedFault(const std::string& text) {
  std::uint64_t seed = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, seed);
  if (error == std::errc() && rest == end) return {};
  return "must be a whole number from 0 to 18446744073709551615";
}

/// Adds the verb `make`, whose arguments go into `options`.
CLI::App* addMake(CLI::App& program, FlightOptions& options) {
  CLI::App* make = program.add_subcommand(
      "make",
      "Simulate a flight (take-off, a square, landing) and write it as a pair of legacy logs:\n"
      "NAME.cont with the samples of all sensors, NAME.events with the API calls.\n"
      "The same options give the same bytes, on every machine.");
  make->add_option("NAME", options.name, "Path of the two logs, without their endings")->required();
  make->add_option("--seconds", options.seconds, "Duration of the flight, up to 360000")
      ->type_name("S")
      ->capture_default_str();
  make->add_option("--rate", options.rate, "Control steps a second, 1 to 10000")
      ->type_name("HZ")
      ->capture_default_str();
  make->add_option("--seed", options.seed, "Choice of the noise, from 0")
      ->type_name("N")
      ->check(CLI::Validator(seedFault, ""))
      ->capture_default_str();
  make->add_option("--variant", options.variant, "Hardware variant that the logs' headers name")
      ->type_name("V")
      ->capture_default_str();
  return make;
}

/// Adds the verb `info`, whose arguments go into `options`.
CLI::App* addInfo(CLI::App& program, InfoOptions& options) {
  CLI::App* info = program.add_subcommand(
      "info",
      "Say what logs of any kind are: variant, columns, sections or APIs, records, step indices and\n"
      "their gaps, and whether the end is whole or cut, and where.\n"
      "Exit status: 0 all whole, 3 one is cut or damaged, 1 one can't be read or is no log.");
  info->add_option("FILE", options.files, "Legacy continuous, legacy event and blackbox logs")->required();
  info->add_flag("--json", options.json, "Print an array with one object per file, for programs");
  info->add_flag("--columns", options.columns, "Name every column or variable with its type");
  return info;
}

/// Adds the verb `diff`, whose arguments go into `options`.
CLI::App* addDiff(CLI::App& program, DiffOptions& options) {
  CLI::App* diff = program.add_subcommand(
      "diff",
      "Compare two logs of any kind step by step: records by their index, calls by their step.\n"
      "Exact means that NaN equals NaN and -0.0 differs from 0.0. Against a blackbox log, values of a\n"
      "legacy log count as a replay stores them in a variable of the blackbox log's type.\n"
      "Exit status: 0 same, 1 different, 2 trouble, such as a log that is cut or damaged.");
  diff->add_option("A", options.fileA, "First log")->required();
  diff->add_option("B", options.fileB, "Second log")->required();
  diff->add_option("--tolerance", options.tolerance, "Largest absolute difference that counts as none")
      ->type_name("T");
  diff->add_option(
          "--only", options.only,
          "Compare only what this shell pattern names, such as 'inputs.*'; may be repeated. Calls\n"
          "are named API and API.ARGUMENT")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
  diff->add_option("--section", options.section,
                   "Section of a blackbox log; otherwise the first one that has samples")
      ->type_name("NAME");
  diff->add_flag("--by-record", options.byRecord,
                 "Line records up by their number, as a log whose index has gaps\nand its replay need");
  return diff;
}

/// Runs the program. `failure` is the exit status that an exception must give.
int run(int argc, char** argv, int& failure) {
  CLI::App program("Works with the flight logs that ostrelReplay replays.", "ostrelLog");
  // One help text for all, so that no option is a second look-up away; the verbs take over the same flag.
  program.set_help_flag();
  program.set_help_all_flag("-h,--help", "Print this help and exit");
  program.footer(
      "Exit status: 0 done, 1 a file could not be written, 2 wrong usage; of info and diff as said there.");
  program.failure_message([](const CLI::App*, const CLI::Error& error) {
    return std::string("ostrelLog: ") + error.what() + " (see ostrelLog --help)\n";
  });
  program.require_subcommand(1);
  FlightOptions flight;
  InfoOptions information;
  DiffOptions comparison;
  const CLI::App* make = addMake(program, flight);
  const CLI::App* info = addInfo(program, information);
  const CLI::App* diff = addDiff(program, comparison);

  try {
    program.parse(argc, argv);
    if (make->parsed()) {
      const std::string fault = optionsFault(flight);
      if (!fault.empty()) throw CLI::ValidationError(fault);
      return makeFlight(flight);
    }
    if (info->parsed()) return describeLogs(information);
    if (diff->parsed()) {
      if (comparison.tolerance && !(*comparison.tolerance >= 0.0)) {  // NaN fails too
        throw CLI::ValidationError("--tolerance: must be 0 or more");
      }
      failure = EXIT_TROUBLE;  // 1 would say that the logs differ
      return diffLogs(comparison);
    }
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : EXIT_USAGE;
  }
  return EXIT_USAGE;
}

}  // namespace

int main(int argc, char** argv) {
  int failure = EXIT_FAILURE;
  try {
    return run(argc, argv, failure);
  } catch (const std::exception& error) {  // such as the lack of memory
    static_cast<void>(std::fprintf(stderr, "ostrelLog: %s\n", error.what()));
    return failure;
  }
}
