#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "logfile/LoadedLibrary.hpp"
#include "logfile/OutputFile.hpp"
#include "ostrelLog/CommandLine.hpp"
#include "ostrelLog/ExitStatus.hpp"
#include "ostrelLog/Version.hpp"
#include "telemetry/blackbox_reader.hpp"

namespace logtool {

namespace {

/// Runs the program. `failure` becomes the status for an exception that leaves it.
ExitStatus run(int argc, char** argv, ExitStatus& failure) {
  CommandLine commandLine(VERSION,
                          loadedLibrary(reinterpret_cast<void*>(&telemetry::BlackboxReaderItf::create)));
  CLI::App& program = commandLine.program;
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // A request for help or the version ends the parsing too, as an error with the status 0.
    if (program.exit(error) == 0) return ExitStatus::HELP;
    // `git bisect` is to skip a commit, and not to blame it, for a wrong command line as well.
    return std::find(argv, argv + argc, std::string("--bisect")) == argv + argc ? ExitStatus::USAGE
                                                                                : ExitStatus::UNTESTABLE;
  }
  const Verb& verb = commandLine.chosen();
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
