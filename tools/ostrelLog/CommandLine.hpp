#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>

#include "ostrelLog/Verb.hpp"

namespace logtool {

/// The command line of the program: all verbs with their options, and the help.
class CommandLine {
 public:
  /// `version` goes into the rows of `regress`. --version prints it and the file of the telemetry library.
  CommandLine(const std::string& version, const std::string& telemetryLibrary);

  /// The verb that was given, once the program has parsed the arguments.
  const Verb& chosen() const;

  CLI::App program;

 private:
  void add(std::unique_ptr<Verb> verb);

  std::map<const CLI::App*, std::unique_ptr<Verb>> verbs;
};

/// The first sentence of a verb's description, without the full stop.
std::string headline(const CLI::App& verb);

}  // namespace logtool
