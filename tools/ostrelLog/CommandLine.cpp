#include "ostrelLog/CommandLine.hpp"

#include "ostrelLog/HelpText.hpp"
#include "ostrelLog/verbs/Check.hpp"
#include "ostrelLog/verbs/Cut.hpp"
#include "ostrelLog/verbs/Diff.hpp"
#include "ostrelLog/verbs/Export.hpp"
#include "ostrelLog/verbs/Info.hpp"
#include "ostrelLog/verbs/Make.hpp"
#include "ostrelLog/verbs/Plot.hpp"
#include "ostrelLog/verbs/Recover.hpp"
#include "ostrelLog/verbs/Regress.hpp"
#include "ostrelLog/verbs/Report.hpp"

namespace logtool {

CommandLine::CommandLine(const std::string& version, const std::string& telemetryLibrary)
    : program("Works with the flight logs that ostrelReplay replays.", "ostrelLog") {
  program.formatter(std::make_shared<HelpText>());  // the verbs take it over, and the flag for the help
  program.set_help_flag("-h,--help", "Print this help and exit");
  program.set_version_flag("--version",
                           "ostrelLog " + version + "\nTelemetry library : " + telemetryLibrary,
                           "Print the version and the telemetry library that was loaded, and exit");
  program.footer("ostrelLog VERB --help shows the options of a verb, man ostrelLog-VERB explains them.");
  // Begins with the name of the program, as report() does.
  program.failure_message([](const CLI::App* app, const CLI::Error& error) {
    const std::vector<CLI::App*> given = app->get_subcommands();
    const std::string verb = given.empty() ? "" : given.front()->get_name() + " ";
    return std::string("ostrelLog: ") + error.what() + " (see ostrelLog " + verb + "--help)\n";
  });
  program.require_subcommand(1);
  // In the order of the help.
  add(std::make_unique<Make>());
  add(std::make_unique<Info>());
  add(std::make_unique<Diff>());
  add(std::make_unique<Plot>());
  add(std::make_unique<Check>());
  add(std::make_unique<Regress>(version));
  add(std::make_unique<Report>());
  add(std::make_unique<Recover>());
  add(std::make_unique<Cut>());
  add(std::make_unique<Export>());
}

const Verb& CommandLine::chosen() const {
  // Exactly one: more than one verb is refused as wrong usage.
  return *verbs.at(program.get_subcommands().front());
}

void CommandLine::add(std::unique_ptr<Verb> verb) {
  CLI::App* command = verb->addTo(program);
  command->group("Verbs");
  verbs[command] = std::move(verb);
}

std::string headline(const CLI::App& verb) {
  const std::string text = verb.get_description();
  return text.substr(0, text.find_first_of(".:"));
}

}  // namespace logtool
