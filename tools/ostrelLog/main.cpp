#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "logfile/LoadedLibrary.hpp"
#include "logfile/OutputFile.hpp"
#include "ostrelLog/Verb.hpp"
#include "ostrelLog/Version.hpp"
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
#include "telemetry/blackbox_reader.hpp"

namespace logtool {

namespace {

/// All verbs of the program, in the order of the help text.
std::vector<std::unique_ptr<Verb>> allVerbs() {
  std::vector<std::unique_ptr<Verb>> verbs;
  verbs.push_back(std::make_unique<Make>());
  verbs.push_back(std::make_unique<Info>());
  verbs.push_back(std::make_unique<Diff>());
  verbs.push_back(std::make_unique<Plot>());
  verbs.push_back(std::make_unique<Check>());
  verbs.push_back(std::make_unique<Regress>(VERSION));
  verbs.push_back(std::make_unique<Report>());
  verbs.push_back(std::make_unique<Recover>());
  verbs.push_back(std::make_unique<Cut>());
  verbs.push_back(std::make_unique<Export>());
  return verbs;
}

/// Runs the program. `failure` becomes the status for an exception that leaves it.
ExitStatus run(int argc, char** argv, ExitStatus& failure) {
  CLI::App program("Works with the flight logs that ostrelReplay replays.", "ostrelLog");
  // The program's help shows the options of all verbs at once; each verb takes over the flag for its own.
  program.set_help_flag();
  program.set_help_all_flag("-h,--help", "Print this help and exit");
  const std::string telemetry =
      loadedLibrary(reinterpret_cast<void*>(&telemetry::BlackboxReaderItf::create));
  program.set_version_flag("--version",
                           std::string("ostrelLog ") + VERSION + "\nTelemetry library : " + telemetry,
                           "Print the version and the telemetry library that was loaded, and exit");
  program.footer(
      "Every verb exits with status 2 after wrong usage; its other exit statuses are named above.");
  // Begins with the name of the program, as report() does.
  program.failure_message([](const CLI::App*, const CLI::Error& error) {
    return std::string("ostrelLog: ") + error.what() + " (see ostrelLog --help)\n";
  });
  program.require_subcommand(1);
  // Lives until the end: the parser stores the values of the options in the verbs.
  const auto verbs = allVerbs();
  std::map<const CLI::App*, const Verb*> verbOf;
  for (const auto& verb : verbs) verbOf[verb->addTo(program)] = verb.get();
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // A request for help or the version ends the parsing too, as an error with the status 0.
    if (program.exit(error) == 0) return ExitStatus::HELP;
    // `git bisect` is to skip a commit, and not to blame it, for a wrong command line as well.
    return std::find(argv, argv + argc, std::string("--bisect")) == argv + argc ? ExitStatus::USAGE
                                                                                : ExitStatus::UNTESTABLE;
  }
  // Exactly one: more than one verb is refused as wrong usage.
  const Verb& verb = *verbOf.at(program.get_subcommands().front());
  failure = verb.failure();
  return verb.run();
}

}  // namespace

}  // namespace logtool

int main(int argc, char** argv) {
  // A standard stream that is closed would become the first file or pipe that is opened.
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
  // A limit on file sizes is an error of the write concerned, so that a half-written file is removed.
  std::signal(SIGXFSZ, SIG_IGN);
  auto status = logtool::ExitStatus::USAGE;
  try {
    status = logtool::run(argc, argv, status);
  } catch (const std::exception& error) {
    // Such as the lack of memory. report() would allocate memory and could fail again.
    static_cast<void>(std::fprintf(stderr, "ostrelLog: %s\n", error.what()));
  }
  if (const int signalNumber = OutputFile::interruption(); signalNumber != 0) {
    // Raise the signal again, now that unfinished files are removed, so that a shell reports death by it.
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
  }
  return static_cast<int>(status);
}
