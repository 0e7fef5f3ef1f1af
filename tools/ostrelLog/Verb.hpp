#pragma once

#include <string>

#include "ostrelLog/ExitStatus.hpp"

namespace CLI {
class App;
}

namespace logtool {

/// One verb of the program, such as `ostrelLog info`. A verb owns the values of its options, so it must
/// outlive the parsing of the command line. Verbs know nothing of each other; `CommandLine` lists them all.
class Verb {
 public:
  Verb() = default;
  Verb(const Verb&) = delete;
  Verb& operator=(const Verb&) = delete;
  virtual ~Verb() = default;

  /// Adds the verb to the program as a subcommand with its own help text and options, and returns the
  /// subcommand. Parsing stores the options' values in this object. A check that needs more than one option
  /// belongs into the subcommand's callback, which runs when everything else has been accepted.
  virtual CLI::App* addTo(CLI::App& program) = 0;

  /// Does the work for the options' present values: writes the result on standard output and one line for
  /// each fault on standard error.
  virtual ExitStatus run() const = 0;

  /// The status for an exception that leaves run(), such as the lack of memory.
  virtual ExitStatus failure() const = 0;

 protected:
  /// Ends the help text of a verb: what its exit statuses mean, and a whole command as an example.
  static void endHelp(CLI::App& command, const std::string& statuses, const std::string& example);
};

}  // namespace logtool
