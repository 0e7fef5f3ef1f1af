#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <system_error>

#include "ostrelLog/MakeFlight.hpp"

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

int run(int argc, char** argv) {
  CLI::App program("Works with the flight logs that ostrelReplay replays.", "ostrelLog");
  // One help text for all, so that no option is a second look-up away; the verbs take over the same flag.
  program.set_help_flag();
  program.set_help_all_flag("-h,--help", "Print this help and exit");
  program.footer("Exit status: 0 done, 1 a file could not be written, 2 wrong usage.");
  program.failure_message([](const CLI::App*, const CLI::Error& error) {
    return std::string("ostrelLog: ") + error.what() + " (see ostrelLog --help)\n";
  });
  program.require_subcommand(1);
  FlightOptions flight;
  const CLI::App* make = addMake(program, flight);

  try {
    program.parse(argc, argv);
    if (make->parsed()) {
      const std::string fault = optionsFault(flight);
      if (!fault.empty()) throw CLI::ValidationError(fault);
      return makeFlight(flight);
    }
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : EXIT_USAGE;
  }
  return EXIT_USAGE;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {  // such as the lack of memory
    static_cast<void>(std::fprintf(stderr, "ostrelLog: %s\n", error.what()));
    return EXIT_FAILURE;
  }
}
